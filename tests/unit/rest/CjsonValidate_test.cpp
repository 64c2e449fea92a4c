// SPDX-License-Identifier: MIT

#include "src/rest/CjsonValidate.h"

#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "src/base/owners.h"

namespace {

JsonPtr parse(const std::string& text) {
    return JsonPtr(cJSON_Parse(text.c_str()));
}

bool equal(const char* a, const char* b) {
    return CjsonValidate::compareJSON(parse(a).get(), parse(b).get());
}

const char* kColours[] = {"red", nullptr, "blue"};

}  // namespace

TEST(CjsonValidateString, PointsAtTheMembersText) {
    const JsonPtr json = parse(R"({"s": "text"})");
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(json.get(), "s", &out), 0);

    EXPECT_STREQ(out, "text");
}

TEST(CjsonValidateString, IsInvalidForANumberAndLeavesTheOutput) {
    const JsonPtr json = parse(R"({"s": 5})");
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(json.get(), "s", &out), 1);

    EXPECT_EQ(out, nullptr);
}

TEST(CjsonValidateString, IsAbsentInAnEmptyObject) {
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(parse("{}").get(), "s", &out), 2);
}

TEST(CjsonValidateString, IsAbsentWhenTheObjectIsNull) {
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(nullptr, "s", &out), 2);
}

TEST(CjsonValidateString, IsAbsentWhenOnlyTheCaseOfTheNameDiffers) {
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(parse(R"({"S": "x"})").get(), "s", &out), 2);
}

TEST(CjsonValidateString, AcceptsOneOfTheAllowedTextsAndSkipsNullEntries) {
    const JsonPtr json = parse(R"({"s": "blue"})");
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(json.get(), "s", &out, kColours, 3), 0);

    EXPECT_STREQ(out, "blue");
}

TEST(CjsonValidateString, IsInvalidWhenTheTextIsBeyondTheCountedEntries) {
    const JsonPtr json = parse(R"({"s": "blue"})");
    char* out = nullptr;

    EXPECT_EQ(CjsonValidate::getAttributeString(json.get(), "s", &out, kColours, 2), 1);

    EXPECT_EQ(out, nullptr);
}

TEST(CjsonValidateString, ComparesWithTheExpectedText) {
    const JsonPtr json = parse(R"({"s": "x"})");

    EXPECT_EQ(CjsonValidate::validateAttributeString(json.get(), "s", "x"), 0);
    EXPECT_EQ(CjsonValidate::validateAttributeString(json.get(), "s", "y"), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeString(json.get(), "t", "x"), 2);
}

TEST(CjsonValidateInt, IsInvalidForAStringOfDigits) {
    int out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeInt(parse(R"({"n": "5"})").get(), "n", &out), 1);
}

TEST(CjsonValidateInt, IsAbsentInAnEmptyObject) {
    int out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeInt(parse("{}").get(), "n", &out), 2);
}

TEST(CjsonValidateInt, TakesTheIntegerPartOfAFraction) {
    int out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeInt(parse(R"({"n": 5.7})").get(), "n", &out), 0);

    EXPECT_EQ(out, 5);
}

TEST(CjsonValidateInt, HoldsAHugeNumberAtTheLargestInt) {
    int out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeInt(parse(R"({"n": 1e30})").get(), "n", &out), 0);

    EXPECT_EQ(out, 2147483647);
}

TEST(CjsonValidateInt, IsInvalidAboveTheRangeAndLeavesTheOutput) {
    int out = -1;

    EXPECT_EQ(CjsonValidate::getAttributeInt(parse(R"({"n": 5})").get(), "n", &out, 1, 4), 1);

    EXPECT_EQ(out, -1);
}

TEST(CjsonValidateInt, AcceptsBothEndsOfTheRange) {
    const JsonPtr json = parse(R"({"low": 1, "high": 4})");
    int out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeInt(json.get(), "low", &out, 1, 4), 0);
    EXPECT_EQ(CjsonValidate::getAttributeInt(json.get(), "high", &out, 1, 4), 0);
}

TEST(CjsonValidateInt, ComparesWithTheExpectedValue) {
    const JsonPtr json = parse(R"({"n": 5, "s": "5"})");

    EXPECT_EQ(CjsonValidate::validateAttributeInt(json.get(), "n", 5), 0);
    EXPECT_EQ(CjsonValidate::validateAttributeInt(json.get(), "n", 6), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeInt(json.get(), "s", 5), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeInt(json.get(), "m", 5), 2);
}

TEST(CjsonValidateDouble, GivesTheFloatingValue) {
    double out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeDouble(parse(R"({"d": 1.5})").get(), "d", &out), 0);

    EXPECT_EQ(out, 1.5);
}

TEST(CjsonValidateDouble, AcceptsTheEndOfTheRange) {
    double out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeDouble(parse(R"({"d": 1.0})").get(), "d", &out, 0, 1), 0);
}

TEST(CjsonValidateDouble, RefusesNotANumberInAnyRange) {
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddNumberToObject(json.get(), "d", std::nan(""));
    double out = 0;

    EXPECT_EQ(CjsonValidate::getAttributeDouble(json.get(), "d", &out, -1e300, 1e300), 1);
}

TEST(CjsonValidateDouble, ComparesExactly) {
    const JsonPtr json = parse(R"({"d": 0.1})");

    EXPECT_EQ(CjsonValidate::validateAttributeDouble(json.get(), "d", 0.1), 0);
    EXPECT_EQ(CjsonValidate::validateAttributeDouble(json.get(), "d", 0.1000001), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeDouble(json.get(), "e", 0.1), 2);
}

TEST(CjsonValidateBoolean, GivesTrueForTrue) {
    bool out = false;

    EXPECT_EQ(CjsonValidate::getAttributeBoolean(parse(R"({"b": true})").get(), "b", &out), 0);

    EXPECT_TRUE(out);
}

TEST(CjsonValidateBoolean, IsInvalidForANumber) {
    bool out = false;

    EXPECT_EQ(CjsonValidate::getAttributeBoolean(parse(R"({"b": 1})").get(), "b", &out), 1);
}

TEST(CjsonValidateBoolean, ComparesWithTheExpectedValue) {
    const JsonPtr json = parse(R"({"b": false})");

    EXPECT_EQ(CjsonValidate::validateAttributeBoolean(json.get(), "b", false), 0);
    EXPECT_EQ(CjsonValidate::validateAttributeBoolean(json.get(), "b", true), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeBoolean(json.get(), "c", true), 2);
}

TEST(CjsonValidateIncluded, AcceptsAnyType) {
    EXPECT_EQ(CjsonValidate::validateAttributeIncluded(parse(R"({"a": null})").get(), "a"), 0);
}

TEST(CjsonValidateIncluded, IsInvalidNotAbsentWithoutTheMember) {
    EXPECT_EQ(CjsonValidate::validateAttributeIncluded(parse("{}").get(), "a"), 1);
}

TEST(CjsonValidateNull, TellsNullFromOtherValuesAndFromNothing) {
    const JsonPtr json = parse(R"({"a": null, "b": 0})");

    EXPECT_EQ(CjsonValidate::validateAttributeNull(json.get(), "a"), 0);
    EXPECT_EQ(CjsonValidate::validateAttributeNull(json.get(), "b"), 1);
    EXPECT_EQ(CjsonValidate::validateAttributeNull(json.get(), "c"), 2);
}

TEST(CjsonValidateIncluded, WantsEveryName) {
    const JsonPtr json = parse(R"({"a": 1, "b": 2})");
    const char* present[] = {"a", "b"};
    const char* one_missing[] = {"a", "c"};

    EXPECT_EQ(CjsonValidate::validateIncluded(json.get(), present, 2), 0);
    EXPECT_EQ(CjsonValidate::validateIncluded(json.get(), one_missing, 2), 1);
}

TEST(CjsonValidateNotIncluded, WantsNoneOfTheNames) {
    const JsonPtr json = parse(R"({"a": 1})");
    const char* missing[] = {"c", "d"};
    const char* one_present[] = {"c", "a"};

    EXPECT_EQ(CjsonValidate::validateNotIncluded(json.get(), missing, 2), 0);
    EXPECT_EQ(CjsonValidate::validateNotIncluded(json.get(), one_present, 2), 1);
}

TEST(CjsonValidateIncluded, IsValidForACountBelowOne) {
    EXPECT_EQ(CjsonValidate::validateIncluded(nullptr, nullptr, 0), 0);
    EXPECT_EQ(CjsonValidate::validateNotIncluded(nullptr, nullptr, -1), 0);
}

TEST(CjsonValidateCompare, IgnoresTheOrderOfMembers) {
    EXPECT_TRUE(equal(R"({"a": 1, "b": [1, 2]})", R"({"b": [1, 2], "a": 1})"));
}

TEST(CjsonValidateCompare, TellsAShorterArrayFromALongerOne) {
    EXPECT_FALSE(equal("[1, 2]", "[1, 2, 3]"));
    EXPECT_FALSE(equal("[1, 2, 3]", "[1, 2]"));
}

TEST(CjsonValidateCompare, TellsOneFromOneAndAHalf) {
    EXPECT_FALSE(equal("1", "1.5"));
}

TEST(CjsonValidateCompare, TellsTrueFromFalse) {
    EXPECT_FALSE(equal("true", "false"));
}

TEST(CjsonValidateCompare, TellsStringsApart) {
    EXPECT_TRUE(equal(R"("a")", R"("a")"));
    EXPECT_FALSE(equal(R"("a")", R"("A")"));
}

TEST(CjsonValidateCompare, TellsAnEmptyObjectFromAnEmptyArray) {
    EXPECT_FALSE(equal("{}", "[]"));
}

TEST(CjsonValidateCompare, SeesAMemberThatOnlyTheSecondHas) {
    EXPECT_FALSE(equal(R"({"a": 1})", R"({"a": 1, "b": 2})"));
    EXPECT_FALSE(equal("{}", R"({"b": 2})"));
}

TEST(CjsonValidateCompare, SeesAMemberThatOnlyTheFirstHas) {
    EXPECT_FALSE(equal(R"({"a": 1, "b": 2})", R"({"a": 1})"));
}

TEST(CjsonValidateCompare, TakesTheCaseOfNamesSeriously) {
    EXPECT_FALSE(equal(R"({"a": 1})", R"({"A": 1})"));
}

TEST(CjsonValidateCompare, SeesADifferentSecondMemberOfOneName) {
    EXPECT_FALSE(equal(R"({"a": 1})", R"({"a": 1, "a": 2})"));
    EXPECT_FALSE(equal(R"({"a": 1, "a": 2})", R"({"a": 1})"));
}

TEST(CjsonValidateCompare, ComparesADeepObjectInOnePass) {
    constexpr int kDepth = 500;
    std::string text;
    for (int i = 0; i < kDepth; ++i) {
        text += R"({"a":)";
    }
    text += "1" + std::string(kDepth, '}');

    EXPECT_TRUE(equal(text.c_str(), text.c_str()));
}

TEST(CjsonValidateCompare, NothingEqualsNull) {
    EXPECT_FALSE(CjsonValidate::compareJSON(nullptr, nullptr));
}

TEST(CjsonValidateCompare, AnswersInThreeValuesForObjects) {
    const JsonPtr a = parse(R"({"x": 1})");
    const JsonPtr b = parse(R"({"x": 2})");

    EXPECT_EQ(CjsonValidate::compareCjsonObjects(a.get(), a.get()), 0);
    EXPECT_EQ(CjsonValidate::compareCjsonObjects(a.get(), b.get()), 1);
    EXPECT_EQ(CjsonValidate::compareCjsonObjects(nullptr, b.get()), 2);
    EXPECT_EQ(CjsonValidate::compareCjsonObjects(a.get(), nullptr), 2);
}

TEST(CjsonValidateCompare, ComparesOneAttributeOfTwoObjects) {
    const JsonPtr a = parse(R"({"x": 1, "y": 1})");
    const JsonPtr b = parse(R"({"x": 2, "y": 1})");

    EXPECT_EQ(CjsonValidate::compareAttributes(a.get(), b.get(), "y"), 0);
    EXPECT_EQ(CjsonValidate::compareAttributes(a.get(), b.get(), "x"), 1);
    EXPECT_EQ(CjsonValidate::compareAttributes(nullptr, b.get(), "x"), 2);
}
