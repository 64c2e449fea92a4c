// SPDX-License-Identifier: MIT

#include "src/system/UserEventLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "UserEventsFixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr const char* kFirst = "/system/user-events/log/0";
constexpr const char* kSecond = "/system/user-events/log/1";
constexpr const char* kNew = "/system/user-events/log/new";

class UserEventLogTest : public UserEventsFixture {
  protected:
    // Changes of the events 1000, 1001 and so on.
    void logChanges(uint32_t count) {
        for (uint32_t i = 0; i < count; ++i) {
            m_log->logUserEvents(record(1000 + i, kEventStateOn));
        }
    }

    UserEventLog* m_log = addLog();
};

}  // namespace

TEST(UserEventLogInstance, IsMissingAtFirst) {
    EXPECT_EQ(UserEventLog::getInstance(), nullptr);
}

TEST(UserEventLogTexts, AreTheStatesOfEntries) {
    EXPECT_EQ(UserEventLog::reformatState(0), nullptr);
    EXPECT_STREQ(UserEventLog::reformatState(1), "OFF");
    EXPECT_STREQ(UserEventLog::reformatState(2), "ON");
    EXPECT_STREQ(UserEventLog::reformatState(3), "NONE");
    EXPECT_EQ(UserEventLog::reformatState(4), nullptr);
}

TEST(UserEventLogTexts, AreTheSeveritiesOfEntries) {
    EXPECT_EQ(UserEventLog::reformatSeverity(-1), nullptr);
    EXPECT_STREQ(UserEventLog::reformatSeverity(0), "INFO");
    EXPECT_STREQ(UserEventLog::reformatSeverity(1), "WARNING");
    EXPECT_STREQ(UserEventLog::reformatSeverity(2), "ERROR");
    EXPECT_STREQ(UserEventLog::reformatSeverity(3), "ERROR");
    EXPECT_EQ(UserEventLog::reformatSeverity(4), nullptr);
}

TEST_F(UserEventLogTest, IsTheInstanceUntilItsEnd) {
    EXPECT_EQ(UserEventLog::getInstance(), m_log);

    m_container->deleteSubPathHandler("log");

    EXPECT_EQ(UserEventLog::getInstance(), nullptr);
}

TEST_F(UserEventLogTest, LeavesTheInstanceToANewerOne) {
    UserEventLog newer;

    m_container->deleteSubPathHandler("log");

    EXPECT_EQ(UserEventLog::getInstance(), &newer);
}

TEST_F(UserEventLogTest, AnswersAnEmptyListWithoutChanges) {
    EXPECT_EQ(get(kLogUri), (Answer{200, "[]"}));
    EXPECT_EQ(get(kFirst).status, 404);
    EXPECT_EQ(m_log->getIdCounter(), 0);
}

TEST_F(UserEventLogTest, HoldsEachChangeUnderACounter) {
    EventRecord event = record(10, kEventStateOn, kEventSeverityInfo);
    event.info = 4;
    event.on_time = 100;
    event.ev_time = 101;
    m_log->logUserEvents(event);
    m_log->logUserEvents(record(10, kEventStateOff));

    EXPECT_EQ(
        get(kFirst),
        (Answer{200, R"({"ev_id":10,"state":"ON","severity":"INFO","info":4,"ev_time":101,"on_time":100})"}));
    EXPECT_EQ(read(kSecond), "10 OFF 0");
    EXPECT_EQ(m_log->getIdCounter(), 2);
}

TEST_F(UserEventLogTest, HoldsAChangeToTheSameStateOnceMore) {
    m_log->logUserEvents(record(10, kEventStateOn));
    m_log->logUserEvents(record(10, kEventStateOn));

    EXPECT_THAT(listed(kLogUri), ElementsAre("10 ON 0", "10 ON 0"));
}

TEST_F(UserEventLogTest, HoldsNotifications) {
    m_log->logUserEvents(record(10, kEventStateNone));

    EXPECT_THAT(listed(kLogUri), ElementsAre("10 NONE 0"));
}

TEST_F(UserEventLogTest, ListsByTheTextOfTheCounter) {
    logChanges(12);

    const std::vector<std::string> entries = listed(kLogUri);

    ASSERT_EQ(entries.size(), 12U);
    EXPECT_EQ(entries[0], "1000 ON 0");
    EXPECT_EQ(entries[1], "1001 ON 0");
    EXPECT_EQ(entries[2], "1010 ON 0");
    EXPECT_EQ(entries[3], "1011 ON 0");
    EXPECT_EQ(entries[4], "1002 ON 0");
}

TEST_F(UserEventLogTest, HoldsFiveHundredChanges) {
    logChanges(500);

    EXPECT_EQ(listed(kLogUri).size(), 500U);
    EXPECT_EQ(read(kFirst), "1000 ON 0");
    EXPECT_EQ(read("/system/user-events/log/499"), "1499 ON 0");
    EXPECT_EQ(get("/system/user-events/log/500").status, 404);
}

TEST_F(UserEventLogTest, ReplacesTheFirstEntryWithTheFiveHundredAndFirstChange) {
    logChanges(501);

    EXPECT_EQ(listed(kLogUri).size(), 500U);
    EXPECT_EQ(read(kFirst), "1500 ON 0");
    EXPECT_EQ(read(kSecond), "1001 ON 0");
    EXPECT_EQ(get("/system/user-events/log/500").status, 404);
    EXPECT_EQ(m_log->getIdCounter(), 1);
}

TEST_F(UserEventLogTest, GoesRoundAgainAndAgain) {
    logChanges(1502);

    EXPECT_EQ(listed(kLogUri).size(), 500U);
    EXPECT_EQ(read(kFirst), "2500 ON 0");
    EXPECT_EQ(read(kSecond), "2501 ON 0");
    EXPECT_EQ(read("/system/user-events/log/2"), "2002 ON 0");
}

TEST_F(UserEventLogTest, IgnoresARecordWithoutAStateOrSeverityText) {
    subscribe(kLogUri, "ALL");

    m_log->logUserEvents(record(10, 0));
    m_log->logUserEvents(record(10, 4));
    m_log->logUserEvents(record(10, kEventStateOn, 4));

    EXPECT_THAT(listed(kLogUri), IsEmpty());
    EXPECT_EQ(m_log->getIdCounter(), 0);
    EXPECT_EQ(m_log->lookUpEventStateRegister(10), "");
    EXPECT_THAT(news(), IsEmpty());
}

TEST_F(UserEventLogTest, MakesRoomOnceForARecordWithoutTextsWhenItIsFull) {
    logChanges(500);

    m_log->logUserEvents(record(10, 0));
    m_log->logUserEvents(record(10, 0));
    EXPECT_EQ(listed(kLogUri).size(), 499U);
    EXPECT_EQ(get(kFirst).status, 404);

    m_log->logUserEvents(record(11, kEventStateOn));
    EXPECT_EQ(listed(kLogUri).size(), 500U);
    EXPECT_EQ(read(kFirst), "11 ON 0");
}

TEST_F(UserEventLogTest, RemembersTheStateThatItLoggedLastForEachEvent) {
    m_log->logUserEvents(record(10, kEventStateOn));
    m_log->logUserEvents(record(11, kEventStateNone));
    m_log->logUserEvents(record(10, kEventStateOff));

    EXPECT_EQ(m_log->lookUpEventStateRegister(10), "OFF");
    EXPECT_EQ(m_log->lookUpEventStateRegister(11), "NONE");
    EXPECT_EQ(m_log->lookUpEventStateRegister(12), "");
}

TEST_F(UserEventLogTest, TakesAStateFromOutsideIntoTheRegister) {
    m_log->registerEventState(10, "ON");

    EXPECT_EQ(m_log->lookUpEventStateRegister(10), "ON");
}

TEST_F(UserEventLogTest, SkipsAnUnknownOrUnchangedStateWhenItsPlaceIsTaken) {
    m_log->putEntry("0", parse(R"({"ev_id":1,"state":"ON","info":9})").release());
    m_log->registerEventState(10, "ON");

    m_log->logUserEvents(record(10, kEventStateOn));
    m_log->logUserEvents(record(11, kEventStateOn));

    EXPECT_THAT(listed(kLogUri), ElementsAre("1 ON 9"));
    EXPECT_EQ(m_log->getIdCounter(), 0);
}

TEST_F(UserEventLogTest, LogsAChangedStateEvenWhenItsPlaceIsTaken) {
    m_log->putEntry("0", parse(R"({"ev_id":1,"state":"ON","info":9})").release());
    m_log->registerEventState(10, "ON");

    m_log->logUserEvents(record(10, kEventStateOff));

    EXPECT_THAT(listed(kLogUri), ElementsAre("10 OFF 0"));
}

TEST_F(UserEventLogTest, TellsTheSubscribersOfNewEntriesOnThePathOfNew) {
    subscribe(kNew, "ALL");

    m_log->logUserEvents(record(10, kEventStateOn));
    m_log->logUserEvents(record(10, kEventStateOff));

    EXPECT_THAT(news(), ElementsAre("Created /system/user-events/log/new 10 ON 0",
                                    "Created /system/user-events/log/new 10 OFF 0"));
}

TEST_F(UserEventLogTest, TellsTheSubscribersOfTheCollectionOnThePathOfNew) {
    subscribe(kLogUri, "ALL");

    m_log->logUserEvents(record(10, kEventStateOn));

    EXPECT_THAT(news(), ElementsAre("Created /system/user-events/log/new 10 ON 0"));
}

TEST_F(UserEventLogTest, TellsNobodyOfTheEntryThatItReplaces) {
    logChanges(500);
    subscribe(kFirst, "ALL");
    subscribe(kNew, "NONE");

    m_log->logUserEvents(record(10, kEventStateOn));

    EXPECT_THAT(news(), ElementsAre("Created /system/user-events/log/new -"));
}

TEST_F(UserEventLogTest, AcceptsNoCreateUpdateOrDelete) {
    m_log->logUserEvents(record(10, kEventStateOn));

    EXPECT_EQ(ask("POST", kLogUri, R"({"data":{"ev_id":11}})").status, 405);
    EXPECT_EQ(ask("PUT", kLogUri, R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("DELETE", kLogUri).status, 405);
    EXPECT_EQ(ask("PUT", kFirst, R"({"data":{"info":1}})").status, 405);
    EXPECT_EQ(ask("DELETE", kFirst).status, 405);
    EXPECT_EQ(ask("DELETE", kSecond).status, 404);
    EXPECT_THAT(listed(kLogUri), ElementsAre("10 ON 0"));
}
