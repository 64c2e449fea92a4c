// SPDX-License-Identifier: MIT

#include "tools/apictl/MessageSplitter.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Result = MessageSplitter::Result;

// All messages of a stream that comes at once.
std::vector<std::string> Split(std::string_view bytes) {
    MessageSplitter splitter;
    std::vector<std::string> messages;
    while (splitter.next(bytes) == Result::kMessage) {
        messages.emplace_back(bytes.substr(0, splitter.length()));
        bytes.remove_prefix(splitter.length());
    }
    return messages;
}

using Messages = std::vector<std::string>;

}  // namespace

TEST(MessageSplitter, FindsAnObject) {
    EXPECT_EQ(Split(R"({"a": 1})"), Messages{R"({"a": 1})"});
}

TEST(MessageSplitter, FindsAnObjectWithObjectsInIt) {
    EXPECT_EQ(Split(R"({"a": {"b": {}}}{)"), Messages{R"({"a": {"b": {}}})"});
}

TEST(MessageSplitter, FindsEveryObjectOfOneRead) {
    EXPECT_EQ(Split(R"({"a": 1}{"b": 2}{"c")"), (Messages{R"({"a": 1})", R"({"b": 2})"}));
}

TEST(MessageSplitter, TakesWhiteSpaceBetweenObjectsToTheNextOne) {
    EXPECT_EQ(Split("{}\r\n\t {}\n"), (Messages{"{}", "\r\n\t {}"}));
}

TEST(MessageSplitter, PassesOverBracesInStrings) {
    EXPECT_EQ(Split(R"({"a{": "}}"})"), Messages{R"({"a{": "}}"})"});
}

TEST(MessageSplitter, PassesOverAnEscapedQuote) {
    EXPECT_EQ(Split(R"({"a": "\"}"})"), Messages{R"({"a": "\"}"})"});
}

TEST(MessageSplitter, EndsAStringBehindAnEscapedBackslash) {
    EXPECT_EQ(Split(R"({"a": "\\"})"), Messages{R"({"a": "\\"})"});
}

TEST(MessageSplitter, GoesOnWhereItStoppedWhateverTheCut) {
    const std::string message = R"( {"a\\": "\"}{", "b": {"c": "}"}})";
    for (size_t cut = 0; cut < message.size(); ++cut) {
        MessageSplitter splitter;

        EXPECT_EQ(splitter.next(std::string_view(message).substr(0, cut)), Result::kIncomplete) << cut;
        EXPECT_EQ(splitter.next(message), Result::kMessage) << cut;
        EXPECT_EQ(splitter.length(), message.size()) << cut;
    }
}

TEST(MessageSplitter, IsIncompleteWithoutBytes) {
    EXPECT_EQ(MessageSplitter().next(""), Result::kIncomplete);
}

TEST(MessageSplitter, IsMalformedForSomethingElseThanAnObject) {
    for (const char* text : {"[1]", "x{}", "\"{}\"", "}", ",{}", "1"}) {
        EXPECT_EQ(MessageSplitter().next(text), Result::kMalformed) << text;
    }
}

TEST(MessageSplitter, IsMalformedForANulByte) {
    EXPECT_EQ(MessageSplitter().next(std::string_view("\0{}", 3)), Result::kMalformed);
}

TEST(MessageSplitter, IsMalformedForTextBehindAnObject) {
    MessageSplitter splitter;

    EXPECT_EQ(splitter.next("{}x"), Result::kMessage);
    EXPECT_EQ(splitter.next("x"), Result::kMalformed);
}
