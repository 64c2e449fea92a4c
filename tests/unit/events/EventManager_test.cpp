// SPDX-License-Identifier: MIT

#include "events/EventManager.h"

#include "tests/support/EventFixture.h"

namespace {

const UserEvent kOn = Event(10, kEventStateOn, kEventSeverityWarning);
const UserEvent kOff = Event(10, kEventStateOff, kEventSeverityWarning);

std::vector<std::string> heard;

void Listen(const EventRecord& record) {
    heard.push_back(std::to_string(record.ev_id) + " " + record.getStateText("en") + " " +
                    std::to_string(record.info));
}

// A manager with a listener, and one event in the list.
class EventManagerListener : public EventFixture {
  protected:
    EventManagerListener() {
        heard.clear();
        Store(0, kOn);
        m_manager.setChangeListener(Listen);
        m_manager.emInit();
    }

    EventManager m_manager{5};
};

constexpr char kAssert[] = "ASSERT in event_manager at";

}  // namespace

using EventManagerInstance = EventFixture;

TEST_F(EventManagerInstance, IsTheOneThatWasMade) {
    EventManager manager(3);

    EXPECT_EQ(EventManager::emGetInstance(), &manager);
}

TEST_F(EventManagerInstance, ThatIsMissingStopsTheProcess) {
    EXPECT_EXIT(EventManager::emGetInstance(), testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(EventManagerInstance, EndsWithItsManager) {
    { EventManager manager(3); }

    EXPECT_EXIT(EventManager::emGetInstance(), testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(EventManagerInstance, HasACapacityOfThreeAtLeast) {
    EXPECT_EXIT(EventManager(2), testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(EventManagerInstance, HearsNoChangeAfterItsEnd) {
    {
        EventManager manager(3);
        manager.emInit();
    }
    Change(0, kOn);

    Settle();

    EXPECT_TRUE(Log().empty());
}

TEST_F(EventManagerInstance, FollowsTheListBeforeItReadsIt) {
    EventManager manager(3);

    manager.emInit();

    std::vector<std::string> names;
    for (const BusMessage& message : m_database.messages()) {
        names.push_back(message.name);
    }
    ASSERT_GE(names.size(), 2U);
    EXPECT_EQ(names[names.size() - 2], "cbus.filter");
    EXPECT_EQ(names.back(), "config.readv.dyn.evh");
}

TEST_F(EventManagerListener, HearsNothingOfTheRestore) {
    EXPECT_TRUE(heard.empty());
}

TEST_F(EventManagerListener, HearsOfAnAppend) {
    Change(1, Event(11, kEventStateOn, kEventSeverityWarning, 7));

    Settle();

    EXPECT_EQ(heard, (std::vector<std::string>{"11 ON 7"}));
}

TEST_F(EventManagerListener, HearsOfAChangeOfState) {
    Change(0, kOff);

    Settle();

    EXPECT_EQ(heard, (std::vector<std::string>{"10 OFF 0"}));
}

TEST_F(EventManagerListener, DoesNotHearOfInfoAndTimesOfAnEventThatIsOn) {
    UserEvent event = Event(10, kEventStateOn, kEventSeverityWarning, 7);
    event.ev_time = 100;
    Change(0, event);

    Settle();

    EXPECT_TRUE(heard.empty());
    EXPECT_EQ(m_manager.store().first(nullptr)->info, 7U);
}

TEST_F(EventManagerListener, HearsOfTheSameUpdateWithStateNone) {
    Change(0, Event(10, kEventStateNone, kEventSeverityWarning, 7));
    Change(0, Event(10, kEventStateNone, kEventSeverityWarning, 8));

    Settle();

    EXPECT_EQ(heard, (std::vector<std::string>{"10 NONE 7", "10 NONE 8"}));
}

TEST_F(EventManagerListener, HearsOfAnotherIdentifier) {
    Change(0, Event(12, kEventStateOn, kEventSeverityWarning));

    Settle();

    EXPECT_EQ(heard, (std::vector<std::string>{"12 ON 0"}));
}

TEST_F(EventManagerListener, HearsNothingOfAnAppendThatWasIgnored) {
    for (unsigned position = 1; position < 7; ++position) {
        Change(position, kOn);
    }

    Settle();

    EXPECT_EQ(heard.size(), 4U);
    EXPECT_EQ(m_manager.store().count(), 5U);
}

TEST_F(EventManagerListener, HearsNothingWhileTheStoreIsRestoring) {
    m_database.answer(false);
    EventManager manager(5);
    manager.setChangeListener(Listen);
    manager.emInit();
    m_database.answer(true);
    Change(0, kOff);

    Settle();

    EXPECT_TRUE(heard.empty());
}

TEST_F(EventManagerListener, MayBeMissing) {
    m_manager.setChangeListener(nullptr);
    Change(0, kOff);

    Settle();

    EXPECT_EQ(m_manager.store().first(nullptr)->state, kEventStateOff);
    EXPECT_TRUE(heard.empty());
}
