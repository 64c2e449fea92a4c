// SPDX-License-Identifier: MIT

#include "src/http/HabSetting.h"

#include <gtest/gtest.h>

#include "src/base/owners.h"
#include "src/http/HabValidator.h"

namespace {

class PlainSetting : public HabHandler::Setting {
  public:
    using Setting::Setting;
    int read(const std::string&, cJSON*) override { return 0; }
    int write(const cJSON*) override { return 0; }
};

bool Matches(const char* pattern, const char* key) {
    return PlainSetting(pattern).match(key);
}

}  // namespace

TEST(SettingMatch, TakesAnySegmentForAStar) {
    EXPECT_TRUE(Matches("a.*.c", "a.x.c"));
}

TEST(SettingMatch, RefusesAKeyThatEndsBeforeThePattern) {
    EXPECT_FALSE(Matches("a.*.c", "a.x"));
}

TEST(SettingMatch, RefusesAKeyThatGoesOnBehindThePattern) {
    EXPECT_FALSE(Matches("a.*.c", "a.x.c.d"));
}

TEST(SettingMatch, ComparesOtherSegmentsExactly) {
    EXPECT_TRUE(Matches("a.b", "a.b"));
    EXPECT_FALSE(Matches("a.b", "a.B"));
}

TEST(SettingMatch, TakesNumbersInsideARange) {
    EXPECT_TRUE(Matches("if.1-3,7-", "if.1"));
    EXPECT_TRUE(Matches("if.1-3,7-", "if.2"));
    EXPECT_TRUE(Matches("if.1-3,7-", "if.3"));
}

TEST(SettingMatch, TakesNumbersFromAnOpenRange) {
    EXPECT_TRUE(Matches("if.1-3,7-", "if.9"));
}

TEST(SettingMatch, RefusesNumbersBetweenTheRanges) {
    EXPECT_FALSE(Matches("if.1-3,7-", "if.5"));
}

TEST(SettingMatch, RefusesTextForARange) {
    EXPECT_FALSE(Matches("if.1-3,7-", "if.x"));
}

TEST(SettingMatch, TakesNumbersUpToAnOpenStart) {
    EXPECT_TRUE(Matches("-4", "4"));
    EXPECT_FALSE(Matches("-4", "5"));
}

TEST(SettingMatch, TakesAPlainNumberByItsValue) {
    EXPECT_TRUE(Matches("7", "007"));
    EXPECT_FALSE(Matches("7", "70"));
}

TEST(SettingMatch, TakesNumbersBeyondEveryIntegerForLarge) {
    EXPECT_TRUE(Matches("7-", "99999999999999999999999"));
    EXPECT_FALSE(Matches("1-3", "99999999999999999999999"));
}

TEST(SettingMatch, MatchesNothingWithAMalformedItem) {
    EXPECT_FALSE(Matches("1-2-3", "2"));
    EXPECT_FALSE(Matches(",", "2"));
}

TEST(SettingSubKey, GivesTheSegmentAtTheIndex) {
    EXPECT_EQ(HabHandler::Setting::subKey("a.b.c", 1), "b");
}

TEST(SettingSubKey, IsEmptyBehindTheLastSegment) {
    EXPECT_EQ(HabHandler::Setting::subKey("a.b.c", 3), "");
}

TEST(SettingSubKey, IsEmptyForANegativeIndex) {
    EXPECT_EQ(HabHandler::Setting::subKey("a.b.c", -1), "");
}

TEST(SettingValidate, AnswersMinusOneWhenAllPass) {
    PlainSetting setting("a");
    setting.addValidator(&HabHandler::validString);
    const JsonPtr item(cJSON_CreateString("12"));
    char message[HabHandler::Validator::kMessageSize];

    EXPECT_EQ(setting.validate(item.get(), message), -1);
}

TEST(SettingValidate, GivesTheMessageOfTheFirstThatFails) {
    PlainSetting setting("a");
    setting.addValidator(&HabHandler::decimalString);
    setting.addValidator(&HabHandler::binaryString);
    const JsonPtr item(cJSON_CreateString("x"));
    char message[HabHandler::Validator::kMessageSize];

    EXPECT_EQ(setting.validate(item.get(), message), 24);

    EXPECT_STREQ(message, "Must be a decimal number");
}

TEST(SettingValidate, AnswersZeroForAFailureWithoutAMessage) {
    PlainSetting setting("a");
    setting.addValidator(&HabHandler::ignoreEmpty);
    const JsonPtr item(cJSON_CreateString(""));
    char message[HabHandler::Validator::kMessageSize];

    EXPECT_EQ(setting.validate(item.get(), message), 0);
}

TEST(SettingNotification, IsTakenByDefault) {
    PlainSetting setting("a");

    EXPECT_EQ(setting.addnotif(nullptr), 0);
    EXPECT_EQ(setting.delnotif(nullptr), 0);
}
