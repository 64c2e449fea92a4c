// SPDX-License-Identifier: MIT

#include "src/system/UserEventAlert.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "UserEventsFixture.h"
#include "tests/support/CapturedLog.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class UserEventAlertTest : public UserEventsFixture {
  protected:
    UserEventAlert* m_alerts = addAlerts();
};

// The list is read by the test, once it has filled it.
using UserEventAlertStart = UserEventsFixture;

}  // namespace

TEST(UserEventAlertInstance, IsMissingAtFirst) {
    EXPECT_EQ(UserEventAlert::getInstance(), nullptr);
}

TEST(UserEventAlertInstance, MayBeMissingWhenAnEventChanges) {
    UserEventLog log;

    UserEventAlert::logAlertCB(record(10, kEventStateOn));

    EXPECT_TRUE(log.isEntry("0"));
}

TEST(UserEventAlertInstance, MayBeMissingTogetherWithTheLog) {
    ASSERT_EQ(UserEventLog::getInstance(), nullptr);

    EXPECT_NO_FATAL_FAILURE(UserEventAlert::logAlertCB(record(10, kEventStateOn)));
}

TEST(UserEventAlertInstance, BeforeTheEventClientStopsTheProcess) {
    EXPECT_EXIT(UserEventAlert(), testing::KilledBySignal(SIGABRT), "ASSERT in event_manager at");
}

TEST_F(UserEventAlertTest, IsTheInstanceUntilItsEnd) {
    EXPECT_EQ(UserEventAlert::getInstance(), m_alerts);

    m_container->deleteSubPathHandler("alerts");

    EXPECT_EQ(UserEventAlert::getInstance(), nullptr);
}

TEST_F(UserEventAlertTest, LeavesTheInstanceToANewerOne) {
    UserEventAlert newer;

    m_container->deleteSubPathHandler("alerts");

    EXPECT_EQ(UserEventAlert::getInstance(), &newer);
}

TEST_F(UserEventAlertTest, AnswersAnEmptyListWithoutEvents) {
    EXPECT_EQ(get(kAlertsUri), (Answer{200, "[]"}));
}

TEST_F(UserEventAlertTest, HoldsAnEventThatIsOnUnderItsIdentifier) {
    EventRecord event = record(10, kEventStateOn, kEventSeverityError);
    event.info = 4;
    event.on_time = 100;
    event.ev_time = 101;

    m_alerts->logAlert(event);

    const std::string entry =
        R"({"ev_id":10,"state":"ON","severity":"ERROR","info":4,"ev_time":101,"on_time":100})";
    EXPECT_EQ(get(kAlertsUri), (Answer{200, "[" + entry + "]"}));
    EXPECT_EQ(get("/system/user-events/alerts/10"), (Answer{200, entry}));
}

TEST_F(UserEventAlertTest, ListsByTheTextOfTheIdentifier) {
    for (const uint32_t ev_id : {9U, 10U, 100U, 2U}) {
        m_alerts->logAlert(record(ev_id, kEventStateOn));
    }

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0", "100 ON 0", "2 ON 0", "9 ON 0"));
}

TEST_F(UserEventAlertTest, FormsTheKeyOfALargeIdentifierAsASignedNumber) {
    m_alerts->logAlert(record(4294967295, kEventStateOn));

    EXPECT_EQ(read("/system/user-events/alerts/-1"), "4294967295 ON 0");
}

TEST_F(UserEventAlertTest, LeavesAnEntryAsItIsWhenTheEventIsOnOnceMore) {
    subscribe(kAlertsUri, "ALL");
    EventRecord event = record(10, kEventStateOn);
    m_alerts->logAlert(event);
    event.info = 5;
    event.ev_time = 200;

    m_alerts->logAlert(event);

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0"));
    EXPECT_EQ(member("/system/user-events/alerts/10", "ev_time"), "0");
    EXPECT_THAT(news(), ElementsAre("Created /system/user-events/alerts/10 10 ON 0"));
}

TEST_F(UserEventAlertTest, DropsAnEventThatIsOff) {
    m_alerts->logAlert(record(10, kEventStateOn));
    m_alerts->logAlert(record(11, kEventStateOn));

    m_alerts->logAlert(record(10, kEventStateOff));

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("11 ON 0"));
    EXPECT_EQ(get("/system/user-events/alerts/10").status, 404);
}

TEST_F(UserEventAlertTest, TellsNobodyOfAnEventThatWasNotOn) {
    subscribe(kAlertsUri, "ALL");

    m_alerts->logAlert(record(10, kEventStateOff));

    EXPECT_THAT(news(), IsEmpty());
}

TEST_F(UserEventAlertTest, IgnoresANotification) {
    subscribe(kAlertsUri, "ALL");
    m_alerts->logAlert(record(10, kEventStateOn));
    static_cast<void>(news());

    m_alerts->logAlert(record(10, kEventStateNone));
    m_alerts->logAlert(record(11, kEventStateNone));

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0"));
    EXPECT_THAT(news(), IsEmpty());
}

TEST_F(UserEventAlertTest, CreatesDeletesAndCreatesTheEntryOfAnEventThatGoesOnOffOn) {
    UserEventLog* const log = addLog();
    subscribe(kAlertsUri, "ALL");

    for (const uint32_t state : {kEventStateOn, kEventStateOff, kEventStateOn}) {
        UserEventAlert::logAlertCB(record(10, state));
    }

    EXPECT_THAT(news(), ElementsAre("Created /system/user-events/alerts/10 10 ON 0",
                                    "Deleted /system/user-events/alerts/10 -",
                                    "Created /system/user-events/alerts/10 10 ON 0"));
    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0"));
    EXPECT_THAT(listed(kLogUri), ElementsAre("10 ON 0", "10 OFF 0", "10 ON 0"));
    EXPECT_EQ(log->getIdCounter(), 3);
}

TEST_F(UserEventAlertTest, TellsTheSubscriberOfAnEntryOfItsEnd) {
    m_alerts->logAlert(record(10, kEventStateOn));
    subscribe("/system/user-events/alerts/10", "ALL");

    m_alerts->logAlert(record(10, kEventStateOff));

    EXPECT_THAT(news(), ElementsAre("Deleted /system/user-events/alerts/10 -"));
}

TEST_F(UserEventAlertTest, IgnoresARecordWithoutAStateOrSeverityText) {
    m_alerts->logAlert(record(10, kEventStateOn));

    m_alerts->logAlert(record(11, 0));
    m_alerts->logAlert(record(11, 4));
    m_alerts->logAlert(record(11, kEventStateOn, 4));
    m_alerts->logAlert(record(10, kEventStateOff, 4));

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0"));
}

TEST_F(UserEventAlertTest, AcceptsNoCreateUpdateOrDelete) {
    m_alerts->logAlert(record(10, kEventStateOn));

    EXPECT_EQ(ask("POST", kAlertsUri, R"({"data":{"ev_id":11}})").status, 405);
    EXPECT_EQ(ask("PUT", kAlertsUri, R"({"data":{}})").status, 405);
    EXPECT_EQ(ask("DELETE", kAlertsUri).status, 405);
    EXPECT_EQ(ask("PUT", "/system/user-events/alerts/10", R"({"data":{"info":1}})").status, 405);
    EXPECT_EQ(ask("DELETE", "/system/user-events/alerts/10").status, 405);
    EXPECT_EQ(ask("DELETE", "/system/user-events/alerts/11").status, 404);
    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 0"));
}

TEST_F(UserEventAlertTest, HearsOfTheChangesOfTheList) {
    addLog();
    change(0, Event(10, kEventStateOn, kEventSeverityWarning, 7));

    EXPECT_TRUE(turnUntil([this] { return m_alerts->isEntry("10"); }));

    EXPECT_THAT(listed(kAlertsUri), ElementsAre("10 ON 7"));
    EXPECT_THAT(listed(kLogUri), ElementsAre("10 ON 7"));
}

TEST_F(UserEventAlertTest, OnceGoneLeavesTheChangesOfTheListToTheLog) {
    UserEventLog* const log = addLog();
    m_container->deleteSubPathHandler("alerts");
    change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    EXPECT_TRUE(turnUntil([log] { return log->getIdCounter() == 1; }));
}

TEST_F(UserEventAlertStart, FillsAlertsAndLogInTheOrderOfTheStore) {
    store(0, Event(12, kEventStateOn, kEventSeverityWarning, 1));
    store(1, Event(10, kEventStateOff, kEventSeverityError, 2));
    store(2, Event(11, kEventStateNone, kEventSeverityInfo, 3));
    store(3, Event(9, kEventStateOn, kEventSeverityFatal, 4));
    m_events.store().restore();
    addLog();
    UserEventAlert* const alerts = addAlerts();

    alerts->readStartUpEvents();

    EXPECT_THAT(listed(kLogUri), ElementsAre("12 ON 1", "10 OFF 2", "11 NONE 3", "9 ON 4"));
    EXPECT_THAT(listed(kAlertsUri), ElementsAre("12 ON 1", "9 ON 4"));
}

TEST_F(UserEventAlertStart, ForgetsAnEventThatALaterRecordEnds) {
    store(0, Event(10, kEventStateOn, kEventSeverityWarning));
    store(1, Event(10, kEventStateOff, kEventSeverityWarning));
    m_events.store().restore();

    addAlerts()->readStartUpEvents();

    EXPECT_THAT(listed(kAlertsUri), IsEmpty());
}

TEST_F(UserEventAlertStart, LogsEachEventInItsTraditionalWording) {
    store(0, Event(12, kEventStateOn, kEventSeverityWarning));
    store(1, Event(10, kEventStateOff, kEventSeverityWarning));
    m_events.store().restore();
    UserEventAlert* const alerts = addAlerts();
    const CapturedLog log;

    alerts->readStartUpEvents();

    EXPECT_THAT(log.lines(), ElementsAre("7 src/UserEventAlert: EVENT REGISTRATED AT STARTUP! 12",
                                         "7 src/UserEventAlert: EVENT REGISTRATED AT STARTUP! 10"));
}

TEST_F(UserEventAlertStart, HoldsNothingWhenTheListIsEmpty) {
    m_events.store().restore();

    addAlerts()->readStartUpEvents();

    EXPECT_THAT(listed(kAlertsUri), IsEmpty());
}
