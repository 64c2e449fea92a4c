// SPDX-License-Identifier: MIT

#include "src/http/AccessMap.h"

#include <climits>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "src/http/HabSession.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

namespace {

// The level that a map of these rules requires.
int level(const char* rules, const char* uri, const char* method = "GET") {
    const TempDirectory directory;
    directory.write("accessmap.json", rules);
    return AccessMap(directory.path()).getAccessLevel(uri, method);
}

class AccessMapMayRead : public testing::Test {
  protected:
    AccessMapMayRead() {
        m_directory.write("accessmap.json", R"({"/open": {"GET": 0}, "/kept": {"GET": 2}})");
        m_session.setAccessLevel(1);
    }
    bool mayRead(const char* uri, const HabSession* session) const {
        return AccessMap(m_directory.path()).mayRead(uri, session);
    }

    TempDirectory m_directory;
    WebConfiguration m_configuration{"{}"};
    HabSessionImpl m_session{"0123"};
};

}  // namespace

TEST(AccessMapLevel, IsThatOfTheRuleOfTheMethod) {
    constexpr const char* kRules = R"({"/api": {"GET": 1, "PUT": 2, "POST": 3, "DELETE": 4}})";

    EXPECT_EQ(level(kRules, "/api", "GET"), 1);
    EXPECT_EQ(level(kRules, "/api", "PUT"), 2);
    EXPECT_EQ(level(kRules, "/api", "POST"), 3);
    EXPECT_EQ(level(kRules, "/api", "DELETE"), 4);
}

TEST(AccessMapLevel, IsThatOfTheMethodInAnyCase) {
    EXPECT_EQ(level(R"({"/": {"DELETE": 4}})", "/", "dElEtE"), 4);
}

TEST(AccessMapLevel, IsTheHighestOfAllRulesThatMatch) {
    EXPECT_EQ(level(R"({"/api": {"GET": 1}, "/api/system": {"GET": 3}})", "/api/system"), 3);
    EXPECT_EQ(level(R"({"/api": {"GET": 3}, "/api/system": {"GET": 1}})", "/api/system"), 3);
}

TEST(AccessMapLevel, LeavesOutRulesThatDoNotMatch) {
    EXPECT_EQ(level(R"({"/api": {"GET": 1}, "/other": {"GET": 3}})", "/api/system"), 1);
}

TEST(AccessMapLevel, IsAnchoredAtTheStartOnly) {
    constexpr const char* kRules = R"({"/api": {"GET": 1}})";

    EXPECT_EQ(level(kRules, "/api/system"), 1);
    EXPECT_EQ(level(kRules, "/apix"), 1);
    EXPECT_EQ(level(kRules, "/x/api"), INT_MAX);
}

TEST(AccessMapLevel, AllowsAnAnchorInTheName) {
    EXPECT_EQ(level(R"({"^/api/system": {"GET": 0, "PUT": 2}})", "/api/system", "PUT"), 2);
    EXPECT_EQ(level(R"({"^/api$": {"GET": 0}})", "/api/system"), INT_MAX);
}

TEST(AccessMapLevel, TakesExtendedExpressions) {
    EXPECT_EQ(level(R"({"/a(b|c)+/[0-9]{2}$": {"GET": 5}})", "/abcb/42"), 5);
    EXPECT_EQ(level(R"({"/a(b|c)+/[0-9]{2}$": {"GET": 5}})", "/abcb/4"), INT_MAX);
}

TEST(AccessMapLevel, TakesARepeatedLastCharacter) {
    EXPECT_EQ(level(R"({"/ab*/c": {"GET": 5}})", "/a/c"), 5);
    EXPECT_EQ(level(R"({"/ab?": {"GET": 5}})", "/a"), 5);
    EXPECT_EQ(level(R"({"/ab{0,1}c": {"GET": 5}})", "/ac"), 5);
    EXPECT_EQ(level(R"({"/ab+": {"GET": 5}})", "/abbb"), 5);
}

TEST(AccessMapLevel, TakesAlternativesOfWholeNames) {
    EXPECT_EQ(level(R"({"/a|/b": {"GET": 5}})", "/a"), 5);
    EXPECT_EQ(level(R"({"/a|/b": {"GET": 5}})", "/x/b"), 5);
}

TEST(AccessMapLevel, TakesAnEscapedCharacter) {
    EXPECT_EQ(level(R"({"/a\\.b": {"GET": 5}})", "/a.b"), 5);
    EXPECT_EQ(level(R"({"/a\\.b": {"GET": 5}})", "/axb"), INT_MAX);
}

TEST(AccessMapLevel, IsClosedWithoutARule) {
    EXPECT_EQ(level("{}", "/api"), INT_MAX);
    EXPECT_EQ(level(R"({"/api": {"PUT": 1}})", "/api", "GET"), INT_MAX);
}

TEST(AccessMapLevel, IsClosedForAnyOtherMethod) {
    EXPECT_EQ(level(R"({"/": {"GET": 0, "HEAD": 0, "": 0}})", "/", "HEAD"), INT_MAX);
    EXPECT_EQ(level(R"({"/": {"GET": 0, "HEAD": 0, "": 0}})", "/", ""), INT_MAX);
}

TEST(AccessMapLevel, IsClosedWhenItsOnlyLevelIsNegative) {
    EXPECT_EQ(level(R"({"/": {"GET": -3}})", "/"), INT_MAX);
}

TEST(AccessMapLevel, IsClosedWhenItIsNoNumber) {
    EXPECT_EQ(level(R"({"/": {"GET": 0}, "/kept": {"GET": "2"}})", "/kept"), INT_MAX);
}

TEST(AccessMapLevel, IsTheWholePartOfANumber) {
    EXPECT_EQ(level(R"({"/": {"GET": 2.9}})", "/"), 2);
}

TEST(AccessMapFile, MayNameMethodsInLowerCase) {
    constexpr const char* kRules = R"({"/": {"get": 1, "put": 2, "post": 3, "delete": 4}})";

    EXPECT_EQ(level(kRules, "/", "GET"), 1);
    EXPECT_EQ(level(kRules, "/", "PUT"), 2);
    EXPECT_EQ(level(kRules, "/", "POST"), 3);
    EXPECT_EQ(level(kRules, "/", "DELETE"), 4);
}

TEST(AccessMapFile, PrefersTheUpperCaseMethod) {
    EXPECT_EQ(level(R"({"/": {"get": 1, "GET": 5}})", "/"), 5);
    EXPECT_EQ(level(R"({"/": {"get": 5, "GET": 1}})", "/"), 1);
}

TEST(AccessMapFile, DoesNotKnowMixedCase) {
    EXPECT_EQ(level(R"({"/": {"Get": 1}})", "/"), INT_MAX);
}

TEST(AccessMapFile, LosesARuleThatIsNoExpression) {
    EXPECT_EQ(level(R"({"/a(": {"GET": 9}, "/a": {"GET": 1}})", "/a("), 1);
}

TEST(AccessMapFile, LosesARuleThatNamesNoMethods) {
    EXPECT_EQ(level(R"({"/a": 9, "/a/b": [1, 2], "/": {"GET": 1}})", "/a/b"), 1);
}

TEST(AccessMapFile, ClosesEverythingWhenItIsMissing) {
    const CapturedLog log;
    const TempDirectory directory;

    const AccessMap map(directory.path());

    EXPECT_EQ(map.getAccessLevel("/", "GET"), INT_MAX);
    EXPECT_TRUE(log.has("3 src/AccessMap: AccessMap::AccessMap() - could not open accessmap file!"));
}

TEST(AccessMapFile, ClosesEverythingWhenItIsNoObject) {
    EXPECT_EQ(level("[{\"GET\": 0}]", "/"), INT_MAX);
    EXPECT_EQ(level("no json", "/"), INT_MAX);
}

TEST(AccessMapFile, MayBeginWithAByteOrderMark) {
    EXPECT_EQ(level("\xef\xbb\xbf{\"/\": {\"GET\": 1}}", "/"), 1);
}

TEST(AccessMapFile, IsNotReadFromACutName) {
    EXPECT_EQ(AccessMap(std::string(5000, 'd').c_str()).getAccessLevel("/", "GET"), INT_MAX);
}

TEST(AccessMapDirectory, IsThatOfTheWebApplication) {
    const TempDirectory webApplication;
    webApplication.write("accessmap.json", R"({"/": {"GET": 4}})");
    const WebConfiguration configuration(std::string(R"({"hab.path": ")") + webApplication.path() + "\"}");
    configuration.directory.write("accessmap.json", R"({"/": {"GET": 9}})");

    EXPECT_EQ(AccessMap().getAccessLevel("/", "GET"), 4);
}

TEST(AccessMapDirectory, IsThatOfTheConfigurationWithoutAWebApplication) {
    const WebConfiguration configuration(R"({"hab.path": ""})");
    configuration.directory.write("accessmap.json", R"({"/": {"GET": 9}})");
    const CapturedLog log;

    EXPECT_EQ(AccessMap().getAccessLevel("/", "GET"), 9);
    const std::vector<std::string> begin(log.lines().begin(), log.lines().begin() + 2);
    EXPECT_EQ(begin, (std::vector<std::string>{
                         "7 src/AccessMap: AccessMap::AccessMap()",
                         std::string("7 src/AccessMap: path set to ") + configuration.directory.path()}));
}

TEST(AccessMapInstance, IsReadOnFirstUse) {
    // The instance lives as long as its process: a process of its own, started afresh, keeps it away from others.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto levels = [] {
        const WebConfiguration configuration(R"({"hab.path": ""})");
        configuration.directory.write("accessmap.json", R"({"/": {"GET": 7}})");
        const int first = AccessMap::getInstance()->getAccessLevel("/", "GET");
        configuration.directory.write("accessmap.json", R"({"/": {"GET": 8}})");
        return first * 10 + AccessMap::getInstance()->getAccessLevel("/", "GET");
    };

    EXPECT_EXIT(std::_Exit(levels()), testing::ExitedWithCode(77), "");
}

TEST_F(AccessMapMayRead, WhatIsOpenWithoutASession) {
    EXPECT_TRUE(mayRead("/open", nullptr));
}

TEST_F(AccessMapMayRead, NothingElseWithoutASession) {
    EXPECT_FALSE(mayRead("/kept", nullptr));
}

TEST_F(AccessMapMayRead, NotWhatIsAboveTheSession) {
    const CapturedLog log;

    EXPECT_FALSE(mayRead("/kept", &m_session));

    EXPECT_TRUE(
        log.has("7 src/AccessMap: mayRead(/kept) Access denied, for session id=0123 with accessLevel=1."));
}

TEST_F(AccessMapMayRead, WhatTheSessionReaches) {
    const CapturedLog log;
    m_session.setAccessLevel(2);

    EXPECT_TRUE(mayRead("/kept", &m_session));

    EXPECT_TRUE(
        log.has("7 src/AccessMap: mayRead(/kept) Access granted, for session id=0123 with accessLevel=2."));
}

TEST_F(AccessMapMayRead, NothingThatNoRuleCovers) {
    EXPECT_FALSE(mayRead("/other", &m_session));
}
