// SPDX-License-Identifier: MIT

#include "device/configd/KeyPattern.h"

#include <gtest/gtest.h>

namespace {

bool Matches(const std::string& pattern_text, const std::string& key) {
    const auto pattern = KeyPattern::parse(pattern_text);
    EXPECT_TRUE(pattern.has_value()) << pattern_text;
    return pattern && pattern->matches(key);
}

bool IsRefused(const std::string& pattern_text) {
    return !KeyPattern::parse(pattern_text).has_value();
}

KeyPattern::Look LookAt(const std::string& pattern, const std::string& key) {
    std::string leap;
    return KeyPattern::parse(pattern)->look_at(key, leap);
}
std::string Leap(const std::string& pattern, const std::string& key) {
    std::string leap;
    EXPECT_EQ(KeyPattern::parse(pattern)->look_at(key, leap), KeyPattern::Look::kLeap);
    return leap;
}

}  // namespace

TEST(KeyPattern, WithoutSpecialCharactersMatchesThatKeyAlone) {
    EXPECT_TRUE(Matches("cfg.a", "cfg.a"));
    EXPECT_FALSE(Matches("cfg.a", "cfg.ab"));
    EXPECT_FALSE(Matches("cfg.a", "cfg."));
}

TEST(KeyPattern, AStarStandsForAnyOneComponent) {
    EXPECT_TRUE(Matches("cfg.api.syslog.*.*", "cfg.api.syslog.12.selector"));
}

TEST(KeyPattern, AStarStandsForNoLessThanACharacter) {
    EXPECT_FALSE(Matches("cfg.*.b", "cfg..b"));
}

TEST(KeyPattern, AStarDoesNotReachOverADot) {
    EXPECT_FALSE(Matches("cfg.*", "cfg.a.b"));
    EXPECT_FALSE(Matches("cfg.*.c", "cfg.a.b.c"));
}

TEST(KeyPattern, AStarMayStandForPartOfAComponent) {
    EXPECT_TRUE(Matches("cfg.a*z", "cfg.abcz"));
    EXPECT_FALSE(Matches("cfg.a*z", "cfg.abc"));
}

TEST(KeyPattern, AGroupStandsForEachOfItsAlternatives) {
    EXPECT_TRUE(Matches("ram.system.test.(a|b|c)", "ram.system.test.a"));
    EXPECT_TRUE(Matches("ram.system.test.(a|b|c)", "ram.system.test.c"));
    EXPECT_FALSE(Matches("ram.system.test.(a|b|c)", "ram.system.test.d"));
    EXPECT_FALSE(Matches("ram.system.test.(a|b|c)", "ram.system.test.ab"));
}

TEST(KeyPattern, ASetStandsForEachOfItsTexts) {
    EXPECT_TRUE(Matches("cfg.[1,22,3].x", "cfg.22.x"));
    EXPECT_FALSE(Matches("cfg.[1,22,3].x", "cfg.2.x"));
}

TEST(KeyPattern, SetsStandInsideAlternatives) {
    const std::string pattern = "cfg.api.syslog.([1,2,3].selector|[1,2,3].action)";

    EXPECT_TRUE(Matches(pattern, "cfg.api.syslog.1.selector"));
    EXPECT_TRUE(Matches(pattern, "cfg.api.syslog.3.action"));
    EXPECT_FALSE(Matches(pattern, "cfg.api.syslog.4.action"));
    EXPECT_FALSE(Matches(pattern, "cfg.api.syslog.1.other"));
}

TEST(KeyPattern, GroupsStandInsideGroupsAndBeforeOtherText) {
    EXPECT_TRUE(Matches("cfg.(a|(b|c*).d).e", "cfg.c1.d.e"));
    EXPECT_TRUE(Matches("cfg.(a|(b|c*).d).e", "cfg.a.e"));
    EXPECT_FALSE(Matches("cfg.(a|(b|c*).d).e", "cfg.b.e"));
}

TEST(KeyPattern, AnAlternativeThatIsAPrefixOfAnotherDoesNotHideIt) {
    EXPECT_TRUE(Matches("cfg.(a|ab)c", "cfg.abc"));
}

TEST(KeyPattern, TheEmptyPatternMatchesNoKey) {
    EXPECT_FALSE(Matches("", "cfg.a"));
}

TEST(KeyPattern, AKeyOfTheGreatestLengthMatches) {
    const std::string key = "cfg." + std::string(251, 'k');

    EXPECT_TRUE(Matches("cfg.*", key));
}

TEST(KeyPattern, AKeyThatNobodyCouldHaveWrittenDoesNotMatch) {
    EXPECT_FALSE(Matches("cfg.*", "cfg." + std::string(252, 'k')));
}

TEST(KeyPattern, ManyEqualAlternativesDoNotMakeItSlow) {
    std::string pattern = "cfg.";
    std::string key = "cfg.";
    for (int i = 0; i < 80; ++i) {
        pattern += "(a|a)";
        key += 'a';
    }

    EXPECT_FALSE(Matches(pattern, key + "b"));
    EXPECT_TRUE(Matches(pattern, key));
}

TEST(KeyPattern, TellsWhatAllItsKeysBeginWith) {
    EXPECT_EQ(KeyPattern::parse("cfg.api.*.x")->literal_prefix(), "cfg.api.");
    EXPECT_EQ(KeyPattern::parse("(cfg|ram).x")->literal_prefix(), "");
}

TEST(KeyPattern, LeapsFromAKeyThatLeavesItToTheNextThatItMayTake) {
    EXPECT_EQ(Leap("cfg.(b|d).x", "cfg.a.x"), "cfg.b.x");
    EXPECT_EQ(Leap("cfg.(b|d).x", "cfg.b.y"), "cfg.d.x");
    EXPECT_EQ(Leap("cfg.*.x", "cfg.1.a"), "cfg.1.x");
    EXPECT_EQ(Leap("cfg.*.x", "cfg.1.y"), "cfg.1/");
    EXPECT_EQ(Leap("cfg.*", "cfg.1-.y"), "cfg.1-/");
    EXPECT_EQ(Leap("(cfg|ram).x", "dyn.x"), "ram.x");
    EXPECT_EQ(Leap("cfg.[10,20].*", "cfg.10/"), "cfg.20.");
    EXPECT_EQ(Leap("cfg.(b|bc.d)", "cfg.a"), "cfg.b");
}

TEST(KeyPattern, KnowsThatNoneBehindAKeyMatches) {
    EXPECT_EQ(LookAt("cfg.a", "cfg.b"), KeyPattern::Look::kNoneBehind);
    EXPECT_EQ(LookAt("cfg.~", "cfg.~.a"), KeyPattern::Look::kNoneBehind);
}

TEST(KeyPattern, GoesOnBehindAKeyThatIsTheBeginningOfAnother) {
    EXPECT_EQ(LookAt("cfg.a.b", "cfg.a"), KeyPattern::Look::kNextKey);
}

TEST(KeyPattern, BracketsThatDoNotMatchAreRefused) {
    EXPECT_TRUE(IsRefused("cfg.(a|b"));
    EXPECT_TRUE(IsRefused("cfg.("));
    EXPECT_TRUE(IsRefused("cfg.a)"));
    EXPECT_TRUE(IsRefused("cfg.[1,2"));
    EXPECT_TRUE(IsRefused("cfg.1]"));
    EXPECT_TRUE(IsRefused("cfg.([1,2)"));
}

TEST(KeyPattern, AnEmptyTextInASetIsRefused) {
    EXPECT_TRUE(IsRefused("cfg.[]"));
    EXPECT_TRUE(IsRefused("cfg.[1,,2]"));
    EXPECT_TRUE(IsRefused("cfg.[1,]"));
}

TEST(KeyPattern, AnAlternativeOutsideAGroupIsRefused) {
    EXPECT_TRUE(IsRefused("cfg.a|cfg.b"));
}

TEST(KeyPattern, ALongerTextThanAMessageNameHoldsIsRefused) {
    EXPECT_FALSE(IsRefused(std::string(511, 'a')));
    EXPECT_TRUE(IsRefused(std::string(512, 'a')));
}

TEST(KeyPattern, GroupsNestedTooDeeplyAreRefused) {
    EXPECT_FALSE(IsRefused(std::string(16, '(') + "a" + std::string(16, ')')));
    EXPECT_TRUE(IsRefused(std::string(17, '(') + "a" + std::string(17, ')')));
}
