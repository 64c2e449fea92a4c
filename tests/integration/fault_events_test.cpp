// SPDX-License-Identifier: MIT

#include "EventsUnit.h"

// What the API shows of events when the event handler fails, or the database below it.

namespace {

class EventFaults : public EventsUnit {
  protected:
    static void Kill(Program& program) {
        program.signal(SIGKILL);
        ASSERT_TRUE(program.awaitEnd().has_value());
    }
};

TEST_F(EventFaults, AKilledHandlerLeavesTheListAndGoesOnWithItWhenItIsBack) {
    ASSERT_EQ(Put(kWarning, R"({"state": "ON", "info": 5})"), 200);
    ASSERT_EQ(EntriesOnce(kAlerts, "ON 5"), "ON 5");

    Kill(*m_eventd);
    EXPECT_EQ(Entries(kAlerts), "ON 5");
    EXPECT_EQ(Entries(kLog), "ON 5");

    m_unit.startOther(EVENTD_PROGRAM);
    EXPECT_EQ(Put(kWarning, R"({"state": "OFF"})"), 200);
    EXPECT_EQ(EntriesOnce(kAlerts, ""), "");
    EXPECT_EQ(EntriesOnce(kLog, "ON 5, OFF 5"), "ON 5, OFF 5");
}

// A report is a signal on the bus, which nobody answers.
TEST_F(EventFaults, AWarningWithoutAHandlerIsNoEventUntilItIsRaisedAgain) {
    Kill(*m_eventd);
    EXPECT_EQ(Put(kWarning, R"({"state": "ON", "info": 7})"), 200);

    m_unit.startOther(EVENTD_PROGRAM);
    EXPECT_EQ(Put(kWarning, R"({"state": "OFF"})"), 200);
    EXPECT_EQ(Put(kWarning, R"({"state": "ON", "info": 8})"), 200);

    EXPECT_EQ(EntriesOnce(kAlerts, "ON 8"), "ON 8");
    EXPECT_EQ(Entries(kLog), "ON 8");
}

TEST_F(EventFaults, AKilledDatabaseGetsTheListBackAndTheDaemonFollowsIt) {
    ASSERT_EQ(Put(kWarning, R"({"state": "ON", "info": 5})"), 200);
    ASSERT_EQ(EntriesOnce(kAlerts, "ON 5"), "ON 5");

    Kill(m_unit.database());
    EXPECT_EQ(Entries(kAlerts), "ON 5");
    m_unit.startDatabase();

    EXPECT_EQ(Put(kWarning, R"({"state": "OFF"})"), 200);
    EXPECT_EQ(EntriesOnce(kLog, "ON 5, OFF 5"), "ON 5, OFF 5");
    // The list in the database has each event once, as it is now.
    m_unit.startDaemon();
    EXPECT_EQ(EntriesOnce(kLog, "OFF 5"), "OFF 5");
}

}  // namespace
