// SPDX-License-Identifier: MIT

#include "tools/apictl/payload.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string_view>

#include "runtime/c_owner.h"
#include "tests/support/TempDirectory.h"
#include "tools/apictl/ApiClient.h"
#include "tools/common/json_text.h"

namespace {

using testing::HasSubstr;

// The JSON on one line, or the error with "error: " in front.
std::string Read(const std::string& argument) {
    const auto payload = payload_read(argument);
    if (const auto* error = std::get_if<InputError>(&payload)) {
        return "error: " + error->text;
    }
    const cJSON* json = std::get<JsonPtr>(payload).get();
    return json != nullptr ? json_printable(*json, JsonLayout::kOneLine) : "(null)";
}

// Puts a file on standard input, and back what was there.
class Input {
  public:
    explicit Input(const std::string& path) : m_before(dup(STDIN_FILENO)) {
        const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        dup2(file.get(), STDIN_FILENO);
    }
    Input(const Input&) = delete;
    Input& operator=(const Input&) = delete;
    ~Input() { dup2(m_before.get(), STDIN_FILENO); }

  private:
    UniqueFd m_before;
};

}  // namespace

TEST(Payload, IsTheJsonOfTheArgument) {
    EXPECT_EQ(Read(R"({"a": [1, "b"]})"), R"({"a":[1,"b"]})");
}

TEST(Payload, IsAnyJsonValue) {
    for (const char* text : {"1", "-5", "\"text\"", "true", "null", "[]"}) {
        EXPECT_EQ(Read(text), text);
    }
}

TEST(Payload, TellsWhereTheTextStopsBeingJson) {
    EXPECT_EQ(Read(R"({"a" 1})"), "error: the data is no JSON near byte 6: '1}'");
}

TEST(Payload, TellsThatTheTextEndsTooEarly) {
    EXPECT_EQ(Read(R"({"a": )"), "error: the data is no JSON: it ends too early");
    EXPECT_EQ(Read(""), "error: the data is no JSON: it ends too early");
}

TEST(Payload, ShowsTheBeginningOfALongRest) {
    EXPECT_EQ(Read("x" + std::string(1000, 'y')),
              "error: the data is no JSON near byte 1: 'x" + std::string(19, 'y') + "'");
}

TEST(Payload, RefusesTextBehindTheValue) {
    EXPECT_EQ(Read("{} {}"), "error: the data is no JSON near byte 4: '{}'");
}

TEST(Payload, RefusesAnEscapedNulThatTheDaemonWouldCutAt) {
    EXPECT_THAT(Read(R"(["\u0000"])"), HasSubstr("near byte 3"));
}

TEST(Payload, IsTheJsonOfAFile) {
    const TempDirectory directory;

    EXPECT_EQ(Read("@" + directory.write("data", "{\n  \"a\": 1\n}\n")), R"({"a":1})");
}

TEST(Payload, TakesAFileWithAByteOrderMark) {
    const TempDirectory directory;

    EXPECT_EQ(Read("@" + directory.write("data", "\xEF\xBB\xBF[1]")), "[1]");
}

TEST(Payload, RefusesAMissingFileWithItsName) {
    EXPECT_EQ(Read("@/nowhere/data"), "error: cannot read '/nowhere/data': No such file or directory");
}

TEST(Payload, RefusesADirectory) {
    const TempDirectory directory;

    EXPECT_EQ(Read(std::string("@") + directory.path()),
              std::string("error: cannot read '") + directory.path() + "': Is a directory");
}

TEST(Payload, RefusesAFileWithoutAName) {
    EXPECT_EQ(Read("@"), "error: cannot read '': No such file or directory");
}

TEST(Payload, RefusesAnEmptyFile) {
    const TempDirectory directory;

    EXPECT_EQ(Read("@" + directory.write("data", "")), "error: the data is no JSON: it ends too early");
}

TEST(Payload, RefusesANulByteInAFile) {
    const TempDirectory directory;

    EXPECT_THAT(Read("@" + directory.write("data", std::string_view("[1]\0", 4))), HasSubstr("no JSON"));
}

TEST(Payload, RefusesMoreThanAMessageMayHold) {
    const TempDirectory directory;
    const std::string text = '"' + std::string(ApiClient::kMaxMessageBytes, 'x') + '"';

    EXPECT_EQ(Read("@" + directory.write("data", text)), "error: the data is larger than a message may be");
}

TEST(Payload, DoesNotReadAnEndlessFileToItsEnd) {
    EXPECT_EQ(Read("@/dev/zero"), "error: the data is larger than a message may be");
}

TEST(Payload, IsTheJsonOnStandardInput) {
    const TempDirectory directory;
    const Input input(directory.write("data", "{\"a\": 1}\n"));

    EXPECT_EQ(Read("-"), R"({"a":1})");
}

TEST(Payload, RefusesAStandardInputThatCannotBeRead) {
    const TempDirectory directory;
    const Input input(directory.path());

    EXPECT_EQ(Read("-"), "error: cannot read standard input: Is a directory");
}
