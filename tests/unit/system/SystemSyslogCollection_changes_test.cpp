// SPDX-License-Identifier: MIT

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "SyslogFixture.h"
#include "src/system/SystemSyslogCollection.h"
#include "tests/support/CapturedLog.h"

using testing::IsEmpty;

// What the database reports.

namespace {

class SyslogChangesTest : public SyslogFixture {
  protected:
    // Stores the texts "x" and reports the keys in one message.
    void store(const std::vector<std::string>& ends) {
        std::vector<std::string> keys;
        for (const std::string& end : ends) {
            m_database.setString(key(end), "x");
            keys.push_back(key(end));
        }
        announce(keys);
    }
    void erase(const std::vector<std::string>& ends) {
        std::vector<std::string> keys;
        for (const std::string& end : ends) {
            m_database.erase(key(end));
            keys.push_back(key(end));
        }
        announce(keys);
    }
};

}  // namespace

TEST_F(SyslogChangesTest, ReadsTheStoredRulesWhenItIsMade) {
    m_database.setString(key("3.selector"), "user.*");
    m_database.setString(key("3.action"), "/c");
    m_database.setString(key("1.selector"), "kern.*");
    m_database.setString(key("1.action"), "/a");
    m_database.setString(key("4.action"), "/d");

    EXPECT_EQ(list(), "[" + rule(1, "kern.*", "/a") + "," + rule(3, "user.*", "/c") + "]");
}

TEST_F(SyslogChangesTest, ReadsTheStoredRulesOnce) {
    list();
    entry("1");
    create("kern.info", "/a");
    settle();
    put(uri("1"), R"({"action":"/b"})");
    settle();

    EXPECT_EQ(sent("config.readm.cfg.api.syslog."), 1);
}

// The collection, its first reading and its subscription come with the first question that goes below the debug object.
TEST_F(SyslogChangesTest, ComesIntoBeingWithTheFirstQuestionBelowItsParent) {
    get("/system/info");
    EXPECT_EQ(sent("config.readm.cfg.api.syslog."), 0);

    list();

    EXPECT_EQ(sent("config.readm.cfg.api.syslog."), 1);
}

TEST_F(SyslogChangesTest, NoRuleIsChangedOrDeletedBeforeTheDatabaseAnswers) {
    m_database.setString(key("1.selector"), "kern.info;authpriv.none");
    m_database.setString(key("1.action"), "/a");
    m_database.answer(false);

    EXPECT_EQ(put(uri("1"), R"({"action":"/b"})"), 404);
    EXPECT_EQ(remove(uri("1")), 404);
    m_database.answer(true);

    EXPECT_EQ(put(uri("1"), R"({"action":"/b"})"), 200);
    waitForDatabase();
    EXPECT_EQ(m_database.text(key("1.selector")), "kern.info;authpriv.none");
    EXPECT_EQ(m_database.text(key("1.action")), "/b");
}

TEST_F(SyslogChangesTest, IsEmptyWhenTheDatabaseIsOutOfReach) {
    m_database.answer(false);

    EXPECT_EQ(get(kRules), (Answer{200, "[]"}));
}

TEST_F(SyslogChangesTest, ARulesTextCannotMakeALogLineOfItsOwn) {
    m_database.setString(key("1.action"), "/a\n3 text");
    const CapturedLog log;

    list();

    EXPECT_TRUE(
        log.has("6 src/SystemSyslogCollection:  dumpSyslogMap: 1: Selector/Action (null) : /a?3 text"));
}

TEST_F(SyslogChangesTest, TheNameOfAKeyCannotMakeALogLineOfItsOwn) {
    list();
    const CapturedLog log;

    store({"1.x\n3 text"});
    list();

    EXPECT_TRUE(
        log.has("7 src/SystemSyslogCollection: Received config DATA: entry_id:1 attribute: x?3 text"));
}

TEST_F(SyslogChangesTest, LogsWhatItReadAtFirst) {
    m_database.setString(key("1.action"), "/a");
    const CapturedLog log;

    list();

    const std::string start = "6 src/SystemSyslogCollection: ";
    EXPECT_EQ(log.count(start + "updateFromConfig()"), 1);
    EXPECT_EQ(log.count(start + "SystemSyslogCollection::dumpSyslogMap SYNC, entryMapSize = 1"), 1);
    EXPECT_EQ(log.count(start + " dumpSyslogMap: 1: Selector/Action (null) : /a"), 1);
    EXPECT_EQ(log.count(start + "SystemSyslogCollection sync() done. "), 1);
}

TEST_F(SyslogChangesTest, FollowsANewRule) {
    list();

    store({"2.selector", "2.action"});

    EXPECT_EQ(list(), "[" + rule(2, "x", "x") + "]");
}

TEST_F(SyslogChangesTest, FollowsAChangedWord) {
    create("kern.info", "/a");
    settle();

    store({"1.action"});

    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "x"));
}

TEST_F(SyslogChangesTest, DropsARuleWhoseSelectorOrActionIsDeleted) {
    createThree();

    erase({"1.selector", "3.action"});

    EXPECT_EQ(list(), "[" + rule(2, "mail.info;authpriv.none", "/b") + "]");
}

TEST_F(SyslogChangesTest, KeepsARuleWhenAnotherOfItsKeysIsDeleted) {
    createThree();
    store({"1.comment"});
    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/a"));

    erase({"1.comment"});

    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/a"));
}

TEST_F(SyslogChangesTest, ForgetsADeletedRuleThatItNeverHad) {
    list();

    erase({"1.selector", "1.action", "2.comment"});

    EXPECT_EQ(list(), "[]");
}

TEST_F(SyslogChangesTest, TakesASlotForAnyOfItsKeys) {
    list();

    store({"1.comment"});

    EXPECT_EQ(list(), R"([{"rule_id":1,"selector":null,"action":null}])");
    EXPECT_EQ(create("kern.info", "/a").location, uri("2"));
}

TEST_F(SyslogChangesTest, IgnoresKeysOfNoSlot) {
    list();
    const CapturedLog log;

    store({"0.action", "4.action", "10.action", "01.action", "+1.action", " 1.action", "-1.action",
           "4294967297.action", "1", "1.", "x.action", ".action"});

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(log.count("7 src/SystemSyslogCollection: NOT Relevant data"), 12);
}

TEST_F(SyslogChangesTest, IgnoresKeysThatOnlyBeginLikeItsOwn) {
    list();
    m_database.setString("cfg.api.syslog2.1.action", "x");
    m_database.setString("cfg.api.syslogd", "x");

    announce({"cfg.api.syslog2.1.action", "cfg.api.syslogd"});

    EXPECT_EQ(list(), "[]");
}

TEST_F(SyslogChangesTest, KeepsItsWordsAgainstValuesThatAreNoText) {
    create("kern.info", "/a");
    settle();
    const CapturedLog log;
    m_database.setInt(key("1.selector"), 5);
    m_database.setBinary(key("1.action"), "binary");

    announce({key("1.selector"), key("1.action")});

    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/a"));
    const std::string start = "src/SystemSyslogCollection: ";
    EXPECT_EQ(log.count("3 " + start + "Replacing int - Error"), 1);
    EXPECT_EQ(log.count("3 " + start + "OemSnmp: Unsupported config type : 16"), 1);
    EXPECT_EQ(log.count("7 " + start + "Received config message cfg.api.syslog.1.selector 5"), 1);
    EXPECT_EQ(log.count("7 " + start + "Received config message cfg.api.syslog.1.action "), 1);
    EXPECT_EQ(log.count("7 " + start + "Received config DATA: entry_id:1 attribute: selector"), 1);
}

TEST_F(SyslogChangesTest, ReadsATextWithoutATerminatorUpToItsLength) {
    list();

    report({{key("1.selector"), "*.*"}, {key("1.action"), "/a"}});

    EXPECT_EQ(list(), "[" + rule(1, "*.*", "/a") + "]");
}

TEST_F(SyslogChangesTest, TellsNobody) {
    list();
    subscribe(kRules, "ALL");

    create("kern.info", "/a");
    settle();
    store({"1.action", "2.action"});
    erase({"1.action"});

    EXPECT_THAT(m_client.told(), IsEmpty());
}

TEST_F(SyslogChangesTest, HearsNothingMoreOnceItIsGone) {
    list();
    m_controller.removePathHandler("debug");
    const CapturedLog log;

    store({"1.action"});

    EXPECT_THAT(log.lines(), IsEmpty());
}
