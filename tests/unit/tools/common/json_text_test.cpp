// SPDX-License-Identifier: MIT

#include "tools/common/json_text.h"

#include <gtest/gtest.h>

#include "src/base/owners.h"

namespace {

JsonPtr Parse(const char* text) {
    return JsonPtr(cJSON_Parse(text));
}

JsonPtr Text(const char* text) {
    return JsonPtr(cJSON_CreateString(text));
}

std::string Printable(const JsonPtr& json) {
    return json_printable(*json, JsonLayout::kOneLine);
}

}  // namespace

TEST(JsonWireText, IsOneLine) {
    EXPECT_EQ(json_wire_text(*Parse("{\n\"a\": [1, true]\n}")), R"({"a":[1,true]})");
}

TEST(JsonWireText, EscapesBracesInStringsAndNames) {
    EXPECT_EQ(json_wire_text(*Parse(R"({"{a": "}b"})")), R"({"\u007ba":"\u007db"})");
}

TEST(JsonWireText, TellsTheEndOfAStringFromAnEscapedQuote) {
    EXPECT_EQ(json_wire_text(*Parse(R"({"a": "\"{", "b": "\\", "c": {}})")),
              R"({"a":"\"\u007b","b":"\\","c":{}})");
}

TEST(JsonWireText, MeansTheSame) {
    const JsonPtr json = Parse(R"({"a{": ["}{\\\"}", {"b": 1.5}]})");

    const JsonPtr back = Parse(json_wire_text(*json).c_str());

    EXPECT_TRUE(cJSON_Compare(json.get(), back.get(), 1));
}

TEST(JsonPrintable, IsOneLineOrIndented) {
    const JsonPtr json = Parse(R"({"a": 1})");

    EXPECT_EQ(json_printable(*json, JsonLayout::kOneLine), R"({"a":1})");
    EXPECT_EQ(json_printable(*json, JsonLayout::kIndented), "{\n\t\"a\":\t1\n}");
}

TEST(JsonPrintable, EscapesControlCharacters) {
    EXPECT_EQ(Printable(Text("a\x1b[2J\n")), R"("a\u001b[2J\n")");
}

TEST(JsonPrintable, EscapesDel) {
    EXPECT_EQ(Printable(Text("a\x7f")), R"("a\u007f")");
}

TEST(JsonPrintable, EscapesControlCharactersOfEightBits) {
    EXPECT_EQ(Printable(Text("\xC2\x9B")), R"("\u009b")");
    EXPECT_EQ(Printable(Text("\xC2\x80\xC2\x9F\xC2\xA0")), "\"\\u0080\\u009f\xC2\xA0\"");
}

TEST(JsonPrintable, KeepsTextOfOtherScripts) {
    const char* text = "\xC3\xA6 \xE2\x82\xAC \xED\x95\x9C \xF0\x9F\x93\xA1 \xF4\x8F\xBF\xBF";

    EXPECT_EQ(Printable(Text(text)), '"' + std::string(text) + '"');
}

TEST(JsonPrintable, ReplacesBytesThatAreNoUtf8) {
    EXPECT_EQ(Printable(Text("a\x9B"
                             "b")),
              "\"a\xEF\xBF\xBD"
              "b\"");
    EXPECT_EQ(Printable(Text("\xE2\x82")), "\"\xEF\xBF\xBD\xEF\xBF\xBD\"");
}

TEST(JsonPrintable, ReplacesOverlongFormsAndSurrogates) {
    for (const char* text : {"\xC0\x9B", "\xC1\xBF", "\xE0\x9F\xBF", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
                             "\xF4\x90\x80\x80", "\xF5\x80\x80\x80"}) {
        EXPECT_EQ(Printable(Text(text)).find(text), std::string::npos) << text;
    }
}
