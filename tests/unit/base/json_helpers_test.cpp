// SPDX-License-Identifier: MIT

#include "src/base/json_helpers.h"

#include <climits>
#include <string>

#include <gtest/gtest.h>

namespace {

JsonPtr EveryType() {
    return json_parse(
        R"({"text":"a","number":5,"yes":true,"no":false,"null":null,"list":[1],"object":{"a":1}})");
}

std::string Text(const JsonPtr& json) {
    return JsonText(cJSON_PrintUnformatted(json.get())).get();
}

std::string Tree(const cJSON* node) {
    testing::internal::CaptureStdout();
    cJSON_PrintNodeTree(node);
    return testing::internal::GetCapturedStdout();
}

}  // namespace

TEST(JsonParse, GivesTheTree) {
    const JsonPtr json = json_parse(" {\"a\": 5} \r\n");

    ASSERT_TRUE(json);
    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "a")->valueint, 5);
}

TEST(JsonParse, RefusesAnEmptyText) {
    EXPECT_FALSE(json_parse(""));
}

TEST(JsonParse, RefusesTextBehindTheValue) {
    EXPECT_FALSE(json_parse("{} x"));
}

TEST(JsonParse, RefusesANulByteBehindTheValue) {
    EXPECT_FALSE(json_parse(std::string("{}\0x", 4)));
}

TEST(JsonParse, RefusesAnEscapedNul) {
    EXPECT_FALSE(json_parse(R"({"a":"b\u0000c"})"));
}

TEST(JsonParse, TakesAnEscapedBackslashBeforeU0000) {
    const JsonPtr json = json_parse(R"({"a":"b\\u0000c"})");

    ASSERT_TRUE(json);
    EXPECT_STREQ(cJSON_GetObjectString(json.get(), "a")->valuestring, "b\\u0000c");
}

TEST(JsonParse, RefusesATextThatEndsInABackslash) {
    EXPECT_FALSE(json_parse("\"\\"));
}

TEST(JsonParse, RefusesTextsCutAtAnyPlace) {
    const std::string text = R"({"a":[1,true,null,"\u00e4"]})";
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_FALSE(json_parse(text.substr(0, size))) << size;
    }
}

TEST(JsonParse, RefusesNestingWithoutEnd) {
    EXPECT_FALSE(json_parse(std::string(100000, '[')));
}

TEST(JsonParse, TellsWhereItGaveUp) {
    const std::string text = "{\"a\": nothing}";
    const char* stopped_at = nullptr;

    static_cast<void>(json_parse(text, &stopped_at));

    EXPECT_STREQ(stopped_at, "nothing}");
}

TEST(JsonParse, PointsAtAnEscapedNul) {
    const std::string text = R"(["\u0000"])";
    const char* stopped_at = nullptr;

    static_cast<void>(json_parse(text, &stopped_at));

    EXPECT_STREQ(stopped_at, R"(\u0000"])");
}

TEST(JsonParse, LeavesThePlaceAloneOnSuccess) {
    const char* stopped_at = nullptr;

    static_cast<void>(json_parse("{}", &stopped_at));

    EXPECT_EQ(stopped_at, nullptr);
}

TEST(JsonForeignText, MayHave200000Values) {
    std::string text = "[0";
    for (int i = 0; i < 199998; ++i) {
        text += ",0";
    }

    EXPECT_NE(json_parse_foreign(text + "]"), nullptr);
    EXPECT_EQ(json_parse_foreign(text + ",0]"), nullptr);
}

TEST(JsonForeignText, CountsArraysAndObjectsAsValues) {
    std::string text = "[0";
    for (int i = 0; i < 80000; ++i) {
        text += ",[{}]";
    }

    EXPECT_NE(json_parse(text + "]"), nullptr);
    EXPECT_EQ(json_parse_foreign(text + "]"), nullptr);
}

TEST(JsonForeignText, MayHaveAnyCharactersInItsStrings) {
    const std::string text = R"(["a\"b\\",")" + std::string(300000, ',') + R"("])";

    EXPECT_NE(json_parse_foreign(text), nullptr);
}

TEST(JsonForeignText, StopsAtItsBeginningWithTooManyValues) {
    const std::string text(300000, '[');
    const char* stopped_at = nullptr;

    EXPECT_EQ(json_parse_foreign(text, &stopped_at), nullptr);
    EXPECT_EQ(stopped_at, text.c_str());
}

TEST(JsonMembers, FindsEachTypeByItsOwnGetter) {
    const JsonPtr json = EveryType();

    EXPECT_TRUE(cJSON_IsString(cJSON_GetObjectString(json.get(), "text")));
    EXPECT_TRUE(cJSON_IsNumber(cJSON_GetObjectNumber(json.get(), "number")));
    EXPECT_TRUE(cJSON_IsTrue(cJSON_GetObjectBoolean(json.get(), "yes")));
    EXPECT_TRUE(cJSON_IsFalse(cJSON_GetObjectBoolean(json.get(), "no")));
    EXPECT_TRUE(cJSON_IsArray(cJSON_GetObjectArray(json.get(), "list")));
    EXPECT_TRUE(cJSON_IsObject(cJSON_GetObjectObject(json.get(), "object")));
}

TEST(JsonMembers, GiveNullForAnotherType) {
    const JsonPtr json = EveryType();

    EXPECT_EQ(cJSON_GetObjectString(json.get(), "number"), nullptr);
    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "text"), nullptr);
    EXPECT_EQ(cJSON_GetObjectArray(json.get(), "object"), nullptr);
    EXPECT_EQ(cJSON_GetObjectObject(json.get(), "list"), nullptr);
}

TEST(JsonMembers, GiveNoBooleanForANull) {
    const JsonPtr json = EveryType();

    EXPECT_EQ(cJSON_GetObjectBoolean(json.get(), "null"), nullptr);
}

TEST(JsonMembers, TellUpperFromLowerCase) {
    const JsonPtr json = EveryType();

    EXPECT_EQ(cJSON_GetObjectString(json.get(), "Text"), nullptr);
}

TEST(JsonMembers, GiveNullForAnAbsentName) {
    const JsonPtr json = EveryType();

    EXPECT_EQ(cJSON_GetObjectString(json.get(), "other"), nullptr);
}

TEST(JsonMembers, GiveNullForANullObject) {
    EXPECT_EQ(cJSON_GetObjectNumber(nullptr, "a"), nullptr);
}

TEST(JsonMembers, GiveTheFirstOfTwoMembersWithOneName) {
    const JsonPtr json = json_parse(R"({"a":1,"a":2})");

    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "a")->valueint, 1);
}

TEST(JsonMembers, GiveNullForAReference) {
    const JsonPtr target(cJSON_CreateString("a"));
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddItemReferenceToObject(json.get(), "text", target.get());

    EXPECT_EQ(cJSON_GetObjectString(json.get(), "text"), nullptr);
}

TEST(JsonMembers, GiveNullForAConstantKey) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddItemToObjectCS(json.get(), "number", cJSON_CreateInt(5));

    EXPECT_EQ(cJSON_GetObjectNumber(json.get(), "number"), nullptr);
}

TEST(JsonAdd, PutsTheItemBehindTheOthers) {
    const JsonPtr json = json_parse(R"({"b":1})");

    EXPECT_TRUE(json_add(json.get(), "a", json_parse("2")));
    EXPECT_EQ(Text(json), R"({"b":1,"a":2})");
}

TEST(JsonAdd, AddsNothingWithoutAnItemOrAnObject) {
    const JsonPtr json = json_parse(R"({"a":1})");

    EXPECT_FALSE(json_add(json.get(), "b", nullptr));
    EXPECT_FALSE(json_add(nullptr, "b", json_parse("2")));
    EXPECT_EQ(Text(json), R"({"a":1})");
}

TEST(JsonAppend, PutsTheItemBehindTheOthers) {
    const JsonPtr json = json_parse("[1]");

    EXPECT_TRUE(json_append(json.get(), json_parse("2")));
    EXPECT_EQ(Text(json), "[1,2]");
}

TEST(JsonAppend, AppendsNothingWithoutAnItemOrAnArray) {
    const JsonPtr json = json_parse("[1]");

    EXPECT_FALSE(json_append(json.get(), nullptr));
    EXPECT_FALSE(json_append(nullptr, json_parse("2")));
    EXPECT_EQ(Text(json), "[1]");
}

TEST(JsonReplace, PutsTheItemInPlace) {
    const JsonPtr json = json_parse(R"({"a":1,"b":2,"c":3})");

    EXPECT_TRUE(json_replace(json.get(), "b", json_parse("\"x\"")));
    EXPECT_EQ(Text(json), R"({"a":1,"b":"x","c":3})");
}

TEST(JsonReplace, ReplacesNothingThatIsSpelledDifferently) {
    const JsonPtr json = json_parse(R"({"a":1})");

    EXPECT_FALSE(json_replace(json.get(), "A", json_parse("2")));
    EXPECT_EQ(Text(json), R"({"a":1})");
}

TEST(JsonReplace, KeepsWhatIsThereWithoutAnItem) {
    const JsonPtr json = json_parse(R"({"a":1})");

    EXPECT_FALSE(json_replace(json.get(), "a", nullptr));
    EXPECT_EQ(Text(json), R"({"a":1})");
}

TEST(JsonCreateInt, SetsBothValues) {
    for (const int value : {0, -1, INT_MIN, INT_MAX}) {
        const JsonPtr number(cJSON_CreateInt(value));

        ASSERT_TRUE(cJSON_IsNumber(number.get()));
        EXPECT_EQ(number->valueint, value);
        EXPECT_EQ(number->valuedouble, static_cast<double>(value));
    }
}

TEST(JsonPrintNodeTree, SaysThatThereIsNoNode) {
    EXPECT_EQ(Tree(nullptr), "<none error>\n");
}

TEST(JsonPrintNodeTree, PrintsSiblingsAndChildrenWithTheirDepth) {
    const JsonPtr json = EveryType();

    EXPECT_EQ(Tree(json.get()),
              "OBJECT '(null)'\n"
              " STRING 'text' : a\n"
              " NUMBER 'number' : 5\n"
              " TRUE 'yes'\n"
              " FALSE 'no'\n"
              " NULL 'null'\n"
              " ARRAY 'list'\n"
              "  NUMBER '(null)' : 1\n"
              " OBJECT 'object'\n"
              "  NUMBER 'a' : 1\n");
}

TEST(JsonPrintNodeTree, BeginsAtAnyNodeOfAList) {
    const JsonPtr json = json_parse(R"({"a":1,"b":2,"c":3})");

    EXPECT_EQ(Tree(cJSON_GetObjectNumber(json.get(), "b")), "NUMBER 'b' : 2\nNUMBER 'c' : 3\n");
}

TEST(JsonPrintNodeTree, NamesAnUnknownTypeAnError) {
    const JsonPtr raw(cJSON_CreateRaw("x"));

    EXPECT_EQ(Tree(raw.get()), "<type error> '(null)'\n");
}

TEST(JsonNodeComparison, IsTrueBothWays) {
    const JsonPtr one(cJSON_CreateInt(1));
    const JsonPtr text(cJSON_CreateString("a"));

    EXPECT_TRUE(*one == *text);
    EXPECT_TRUE(*one != *text);
    EXPECT_TRUE(*one != *one);
}
