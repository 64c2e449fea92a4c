// SPDX-License-Identifier: MIT

#include "src/system/SystemSyslogCollection.h"

#include <string>

#include <gtest/gtest.h>

#include "SyslogFixture.h"
#include "tests/support/CapturedLog.h"

// The requests. What the database reports is in SystemSyslogCollection_changes_test.cpp.

namespace {

class SystemSyslogCollectionTest : public SyslogFixture {};

}  // namespace

TEST_F(SystemSyslogCollectionTest, IsEmptyAtFirst) {
    EXPECT_EQ(list(), "[]");
}

TEST_F(SystemSyslogCollectionTest, CreatesTheFirstRuleInSlotOneWithoutPrivateMessages) {
    EXPECT_EQ(
        create("kern.info", "/var/log/extra"),
        (Created{201, rule(1, "kern.info;authpriv.none", "/var/log/extra"), "/system/debug/syslog-rules/1"}));
    waitForDatabase();

    EXPECT_EQ(m_database.text(key("1.selector")), "kern.info;authpriv.none");
    EXPECT_EQ(m_database.text(key("1.action")), "/var/log/extra");
}

TEST_F(SystemSyslogCollectionTest, ShowsACreatedRuleAtOnceAndOnce) {
    create("kern.info", "/a");
    EXPECT_EQ(list(), "[" + rule(1, "kern.info;authpriv.none", "/a") + "]");

    settle();

    EXPECT_EQ(list(), "[" + rule(1, "kern.info;authpriv.none", "/a") + "]");
    EXPECT_EQ(entry("1"), (Answer{200, rule(1, "kern.info;authpriv.none", "/a")}));
}

// Otherwise the first rule would be overwritten that was there before.
TEST_F(SystemSyslogCollectionTest, CreatesNothingBeforeItKnowsTheStoredRules) {
    m_database.setString(key("1.selector"), "kern.info;authpriv.none");
    m_database.setString(key("1.action"), "/a");
    m_database.answer(false);
    EXPECT_EQ(create("mail.info", "/b"), (Created{500, "", ""}));

    m_database.answer(true);

    EXPECT_EQ(create("mail.info", "/b").location, "/system/debug/syslog-rules/2");
    EXPECT_EQ(list(), "[" + rule(1, "kern.info;authpriv.none", "/a") + "," +
                          rule(2, "mail.info;authpriv.none", "/b") + "]");
}

TEST_F(SystemSyslogCollectionTest, RefusesAFourthRuleAndKeepsTheThree) {
    createThree();
    const std::string before = list();
    const CapturedLog log;

    EXPECT_EQ(create("kern.info", "/d"), (Created{409, "", ""}));

    EXPECT_EQ(list(), before);
    EXPECT_EQ(sent("config.writev"), 3);
    EXPECT_EQ(
        log.count("6 src/SystemSyslogCollection: SystemSyslogCollection::createOperation Slot NOT Found."),
        1);
}

TEST_F(SystemSyslogCollectionTest, TakesTheFirstSlotThatIsFreeAgain) {
    createThree();
    ASSERT_EQ(remove(uri("2")), 200);
    settle();

    EXPECT_EQ(create("kern.info", "/new").location, "/system/debug/syslog-rules/2");
}

TEST_F(SystemSyslogCollectionTest, RefusesWordsThatWouldSplitOrCommentTheLine) {
    for (const char* bad : {"a b", "a#b", R"(a\tb)", R"(a\nb)", R"(a\rb)", R"(a\u000bb)", R"(a\fb)",
                            R"(a\u001bb)", R"(a\u007fb)", " ", "#", " a", R"(a\n)", ""}) {
        EXPECT_EQ(create(bad, "/a").status, 400) << bad;
        EXPECT_EQ(create("kern.info", bad).status, 400) << bad;
    }
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(SystemSyslogCollectionTest, RefusesAWordThatWouldDrawInTheNextLine) {
    EXPECT_EQ(create("kern.info", R"(/a\\)").status, 400);
    EXPECT_EQ(create(R"(kern.info\\)", "/a").status, 400);

    EXPECT_EQ(create("kern.info", R"(/a\\b)").status, 201);
}

TEST_F(SystemSyslogCollectionTest, RefusesToCreateWithoutBothTexts) {
    for (const char* payload :
         {R"({})", R"([])", R"("x")", R"(null)", R"({"selector":"kern.info"})", R"({"action":"/a"})",
          R"({"selector":"kern.info","action":5})", R"({"selector":null,"action":"/a"})",
          R"({"SELECTOR":"kern.info","action":"/a"})"}) {
        EXPECT_EQ(createFrom(payload).status, 400) << payload;
    }
    EXPECT_EQ(ask("POST", kRules).status, 400);
    EXPECT_EQ(ask("POST", kRules, "{not json").status, 400);
    EXPECT_EQ(sent("config.writev"), 0);
}

TEST_F(SystemSyslogCollectionTest, IgnoresASlotThatTheClientNames) {
    EXPECT_EQ(createFrom(R"({"rule_id":3,"selector":"*.*","action":"/a"})").json,
              rule(1, "*.*;authpriv.none", "/a"));
}

TEST_F(SystemSyslogCollectionTest, ChangesOnlyTheAction) {
    m_database.setString(key("2.selector"), "*.*");
    m_database.setString(key("2.action"), "/a");

    EXPECT_EQ(put(uri("2"), R"({"action":"/b"})"), 200);
    waitForDatabase();

    // Not made free of private messages: only what comes from clients is.
    EXPECT_EQ(entry("2").json, rule(2, "*.*", "/b"));
    EXPECT_EQ(m_database.text(key("2.selector")), "*.*");
    EXPECT_EQ(m_database.text(key("2.action")), "/b");
}

TEST_F(SystemSyslogCollectionTest, ChangesOnlyTheSelectorAndKeepsPrivateMessagesOut) {
    create("kern.info", "/a");

    EXPECT_EQ(put(uri("1"), R"({"selector":"mail.info;authpriv.info;user.info"})"), 200);
    settle();

    EXPECT_EQ(entry("1").json, rule(1, "mail.info;authpriv.none", "/a"));
    EXPECT_EQ(m_database.text(key("1.selector")), "mail.info;authpriv.none");
}

TEST_F(SystemSyslogCollectionTest, ChangesBothWords) {
    createThree();

    EXPECT_EQ(put(uri("3"), R"({"selector":"user.*","action":"@host"})"), 200);
    settle();

    EXPECT_EQ(entry("3").json, rule(3, "user.*;authpriv.none", "@host"));
    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/a"));
}

TEST_F(SystemSyslogCollectionTest, CompletesARuleThatLacksAWord) {
    m_database.setString(key("1.action"), "/a");
    ASSERT_EQ(entry("1").json, R"({"rule_id":1,"selector":null,"action":"/a"})");

    EXPECT_EQ(put(uri("1"), R"({"action":"/b"})"), 200);
    waitForDatabase();
    EXPECT_EQ(m_database.value(key("1.selector")).type, CONFIG_TYPE_NONE);
    EXPECT_EQ(put(uri("1"), R"({"selector":"kern.info"})"), 200);

    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/b"));
}

TEST_F(SystemSyslogCollectionTest, RefusesABadChangeEvenBesideAGoodOne) {
    create("kern.info", "/a");

    for (const char* payload : {R"({})", R"([])", R"(null)", R"({"rule_id":2})", R"({"selector":"a b"})",
                                R"({"action":"#"})", R"({"selector":"*.*","action":""})",
                                R"({"selector":5,"action":"/b"})", R"({"selector":null,"action":"/b"})"}) {
        EXPECT_EQ(put(uri("1"), payload), 400) << payload;
    }
    EXPECT_EQ(ask("PUT", uri("1").c_str()).status, 400);
    EXPECT_EQ(sent("config.writev"), 1);
    EXPECT_EQ(entry("1").json, rule(1, "kern.info;authpriv.none", "/a"));
}

TEST_F(SystemSyslogCollectionTest, KnowsARuleByItsSlotAlone) {
    create("kern.info", "/a");

    for (const char* id :
         {"0", "2", "4", "-1", "01", "+1", "1.x", "1 ", "*", "[1]", "(1|2)", "new", "selector"}) {
        EXPECT_EQ(entry(id).status, 404) << id;
        EXPECT_EQ(put(uri(id), R"({"action":"/b"})"), 404) << id;
        EXPECT_EQ(remove(uri(id)), 404) << id;
    }
    EXPECT_EQ(sent("config.writev"), 1);
    EXPECT_EQ(sent("config.delm"), 0);
}

TEST_F(SystemSyslogCollectionTest, DeletesARuleWhenTheDatabaseReportsIt) {
    createThree();

    EXPECT_EQ(remove(uri("2")), 200);
    EXPECT_EQ(entry("2").status, 200);
    settle();

    EXPECT_EQ(entry("2").status, 404);
    EXPECT_EQ(m_database.value(key("2.selector")).type, CONFIG_TYPE_NONE);
    EXPECT_EQ(list(), "[" + rule(1, "kern.info;authpriv.none", "/a") + "," +
                          rule(3, "user.info;authpriv.none", "/c") + "]");
}

TEST_F(SystemSyslogCollectionTest, SaysWhichRuleItDoesNotFind) {
    const CapturedLog log;

    EXPECT_EQ(remove(uri("2")), 404);

    EXPECT_EQ(
        log.count("7 src/SystemSyslogCollection: SystemSyslogCollection::deleteEntryOperation, id_str = 2"),
        1);
    EXPECT_EQ(
        log.count("6 src/SystemSyslogCollection: SystemSyslogCollection::deleteEntryOperation, NOT FOUND "
                  "Entry 2 "),
        1);
}

TEST_F(SystemSyslogCollectionTest, DeletesAllRulesAndNothingElse) {
    createThree();
    m_database.setString("cfg.api.other.1.action", "x");

    EXPECT_EQ(remove(kRules), 200);
    settle();

    EXPECT_EQ(list(), "[]");
    EXPECT_EQ(m_database.value(key("3.action")).type, CONFIG_TYPE_NONE);
    EXPECT_EQ(m_database.text("cfg.api.other.1.action"), "x");
}

TEST_F(SystemSyslogCollectionTest, DeletesAllRulesThoughThereAreNone) {
    EXPECT_EQ(remove(kRules), 200);
}

TEST_F(SystemSyslogCollectionTest, AnswersServerErrorForAWriteWhenTheBusIsGone) {
    create("kern.info", "/a");
    settle();
    cutBus();

    EXPECT_EQ(create("kern.info", "/b"), (Created{500, "", ""}));
    EXPECT_EQ(put(uri("1"), R"({"action":"/b"})"), 500);
    EXPECT_EQ(list(), "[" + rule(1, "kern.info;authpriv.none", "/a") + "]");
}

TEST_F(SystemSyslogCollectionTest, DoesNotCheckADeletion) {
    create("kern.info", "/a");
    settle();
    cutBus();

    EXPECT_EQ(remove(uri("1")), 200);
    EXPECT_EQ(remove(kRules), 200);
}

TEST_F(SystemSyslogCollectionTest, AnswersEveryRequestOnce) {
    create("kern.info", "/a");

    EXPECT_EQ(finishes("PUT", uri("1"), R"({"data":{"action":"/b"}})"), 1);
    EXPECT_EQ(finishes("DELETE", uri("1"), ""), 1);
    EXPECT_EQ(finishes("DELETE", kRules, ""), 1);
}

TEST_F(SystemSyslogCollectionTest, CanBeUpdatedOnlyRuleByRule) {
    EXPECT_EQ(put(kRules, R"({"action":"/b"})"), 405);
    EXPECT_EQ(ask("POST", uri("1").c_str(), R"({"data":{"selector":"*.*","action":"/a"}})").status, 400);
}

TEST_F(SystemSyslogCollectionTest, DumpsItsSlotsAfterEachChange) {
    list();
    const CapturedLog log;

    create("kern.info", "/a");

    const std::string start = "6 src/SystemSyslogCollection: ";
    EXPECT_EQ(log.count(start + "SystemSyslogCollection::createOperation. "), 1);
    EXPECT_EQ(log.count(start + "Create entry 1"), 1);
    EXPECT_EQ(log.count(start + "SystemSyslogCollection::dumpSyslogMap CREATE-OPERATION, entryMapSize = 1"),
              1);
    EXPECT_EQ(log.count(start + " dumpSyslogMap: 0: EMPTY "), 1);
    EXPECT_EQ(log.count(start + " dumpSyslogMap: 1: Selector/Action kern.info;authpriv.none : /a"), 1);
    EXPECT_EQ(log.count(start + " dumpSyslogMap: 3: EMPTY "), 1);
}

TEST_F(SystemSyslogCollectionTest, LogsItsRequests) {
    create("kern.info", "/a");
    const CapturedLog log;

    put(uri("1"), R"({"action":"/b"})");
    remove(uri("1"));
    remove(kRules);

    const std::string start = "src/SystemSyslogCollection: SystemSyslogCollection::";
    EXPECT_EQ(log.count("7 " + start + "updateEntryOperation"), 1);
    EXPECT_EQ(log.count("6 " + start + "dumpSyslogMap UPDATE-ENTRY-OPERATION, entryMapSize = 1"), 1);
    EXPECT_EQ(log.count("7 " + start + "deleteEntryOperation, id_str = 1"), 1);
    EXPECT_EQ(log.count("6 " + start + "dumpSyslogMap DELETE-ENTRY-OPERATION, entryMapSize = 1"), 1);
    EXPECT_EQ(log.count("7 " + start + "deleteOperation DELETE-ALL"), 1);
    EXPECT_EQ(log.count("6 " + start + "dumpSyslogMap DELETE-ALL-OPERATION, entryMapSize = 1"), 1);
}

TEST_F(SystemSyslogCollectionTest, CutsTheLocationTo255Characters) {
    const std::string long_path = "/" + std::string(300, 'p') + "/";
    SystemSyslogCollection alone;
    alone.test_setApiAndPath(&m_controller, long_path.c_str());
    RecordingRequest request("POST", "/system/alone", m_client.session());
    request.setBody(R"({"data":{"selector":"*.*","action":"/a"}})");

    alone.createOperation(&request);

    EXPECT_EQ(request.status(), 201);
    EXPECT_EQ(request.location(), long_path.substr(0, 255));
}

TEST(SyslogSelector, GetsPrivateMessagesExcluded) {
    const auto sanitized = [](const char* selector) {
        return std::string(SystemSyslogCollection::sanitizeSelector(selector).get());
    };

    EXPECT_EQ(sanitized("kern.info"), "kern.info;authpriv.none");
    EXPECT_EQ(sanitized("kern.info;authpriv.info"), "kern.info;authpriv.none");
    EXPECT_EQ(sanitized("mail.info;authpriv.info;user.info"), "mail.info;authpriv.none");
    EXPECT_EQ(sanitized("authpriv.info;user.info"), ";authpriv.none");
    EXPECT_EQ(sanitized("xauthpriv"), ";authpriv.none");
    EXPECT_EQ(sanitized("kern.info;authpriv.none"), "kern.info;authpriv.none");
    EXPECT_EQ(sanitized(";authpriv.none"), ";authpriv.none");
    EXPECT_EQ(sanitized(""), ";authpriv.none");
    EXPECT_EQ(sanitized("%s%n"), "%s%n;authpriv.none");
}

TEST(SyslogUpdateCheck, TakesNoSlotAboveThree) {
    const JsonPtr body(cJSON_Parse(R"({"action":"/a"})"));

    EXPECT_TRUE(SystemSyslogCollection::updateEntryValidate("3", body.get()));
    EXPECT_TRUE(SystemSyslogCollection::updateEntryValidate("-1", body.get()));
    EXPECT_FALSE(SystemSyslogCollection::updateEntryValidate("4", body.get()));
    EXPECT_FALSE(SystemSyslogCollection::updateEntryValidate("99999999999999999999", body.get()));
    EXPECT_FALSE(SystemSyslogCollection::updateEntryValidate("1", nullptr));
}
