// SPDX-License-Identifier: MIT

#include "events/EventDb.h"

#include "AllocationFailure.h"
#include "events/EventManager.h"
#include "tests/support/EventFixture.h"

using namespace std::string_literals;

namespace {

const UserEvent kOn = Event(10, kEventStateOn, kEventSeverityWarning);

class EventDbRead : public EventFixture {
  protected:
    int Read(unsigned count) {
        m_events.assign(count, UserEvent{});
        return EventDb::readEventArr(m_events.data(), count);
    }
    std::vector<UserEvent> m_events;
};

// A manager that follows the list, which holds one event.
class EventDbChange : public EventFixture {
  protected:
    EventDbChange() {
        Store(0, kOn);
        m_manager.emInit();
        fake_syslog::forget();
    }
    void ChangeValue(const std::string& key, const std::string& bytes) {
        m_database.setBinary(key, bytes);
        m_database.announce({key});
        Settle();
    }
    EventManager m_manager{10};
    EventStore& m_store = m_manager.store();
};

}  // namespace

using EventDbText = EventFixture;

TEST_F(EventDbRead, GivesTheEventsUpToTheCount) {
    Store(0, Event(10, kEventStateOn, kEventSeverityWarning));
    Store(1, Event(11, kEventStateOff, kEventSeverityError, 7));
    Store(2, Event(12, kEventStateOn, kEventSeverityWarning));

    EXPECT_EQ(Read(2), 2);

    EXPECT_EQ(m_events[0], Event(10, kEventStateOn, kEventSeverityWarning));
    EXPECT_EQ(m_events[1], Event(11, kEventStateOff, kEventSeverityError, 7));
}

TEST_F(EventDbRead, EndsAtTheFirstMissingEvent) {
    Store(0, kOn);
    Store(2, kOn);

    EXPECT_EQ(Read(5), 1);
}

TEST_F(EventDbRead, EndsAtAValueThatIsNotBinary) {
    Store(0, kOn);
    m_database.setString(StoreKey(1), ValueOf(kOn));

    EXPECT_EQ(Read(5), 1);
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventDbRead, AsksForAllInOneMessageWithTheirWholeKeys) {
    EXPECT_EQ(Read(3), 0);

    const std::vector<std::string> sent = SentUnder("config.readv.dyn.evh");
    ASSERT_EQ(sent.size(), 1U);
    // Each: type 16, status 0, name field 16, no data, name.
    EXPECT_EQ(sent[0],
              "\x10\0\0\0\x10\0\0\0\0\0\0\0dyn.evh.store.0\0"
              "\x10\0\0\0\x10\0\0\0\0\0\0\0dyn.evh.store.1\0"
              "\x10\0\0\0\x10\0\0\0\0\0\0\0dyn.evh.store.2\0"s);
}

TEST_F(EventDbRead, AnotherLengthGivesTheResultOfTheVectorRead) {
    Store(0, kOn);
    m_database.setBinary(StoreKey(1), ValueOf(kOn).substr(0, 31));

    EXPECT_EQ(Read(5), 0);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: length mismatch (31/32)\n"}));
}

TEST_F(EventDbRead, AValueLongerThanAnEventStaysInsideItsSlot) {
    m_database.setBinary(StoreKey(0), ValueOf(kOn) + std::string(1000, 'x'));
    Store(1, kOn);

    EXPECT_EQ(Read(2), 0);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: length mismatch (1032/32)\n"}));
}

TEST_F(EventDbRead, AnEmptyValueHasAnotherLength) {
    m_database.setBinary(StoreKey(0), "");

    EXPECT_EQ(Read(2), 0);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: length mismatch (0/32)\n"}));
}

TEST_F(EventDbRead, AnotherVersionGivesTheResultOfTheVectorRead) {
    UserEvent foreign = kOn;
    foreign.version = 3;
    Store(0, kOn);
    Store(1, foreign);

    EXPECT_EQ(Read(5), 0);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: version mismatch (3/2)\n"}));
}

TEST_F(EventDbRead, AnotherMagicGivesTheResultOfTheVectorRead) {
    UserEvent foreign = kOn;
    foreign.magic = 0xFFFFFFFF;
    Store(0, kOn);
    Store(1, foreign);

    EXPECT_EQ(Read(5), 0);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: magic mismatch (4294967295/2696070360)\n"}));
}

TEST_F(EventDbRead, TheLengthIsCheckedBeforeTheVersionAndThatBeforeTheMagic) {
    UserEvent foreign = kOn;
    foreign.version = 1;
    foreign.magic = 0;
    m_database.setBinary(StoreKey(0), ValueOf(foreign) + "x");
    EXPECT_EQ(Read(5), 0);

    Store(0, foreign);
    EXPECT_EQ(Read(5), 0);

    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: length mismatch (33/32)\n",
                                               "3 readEventArr: version mismatch (1/2)\n"}));
}

TEST_F(EventDbRead, FailsWhenTheDatabaseDoesNotAnswer) {
    m_database.answer(false);

    EXPECT_EQ(Read(5), -1);
}

TEST_F(EventDbRead, FailsWhenTheBusIsGone) {
    m_database.closeConnection();

    EXPECT_EQ(Read(5), -1);
}

TEST_F(EventDbRead, FailsWithoutMemory) {
    Store(0, kOn);
    for (const int granted : {0, 1}) {
        std::vector<UserEvent> events(5);
        const AllocationFailure failure(granted);

        EXPECT_EQ(EventDb::readEventArr(events.data(), 5), -1);
    }

    EXPECT_EQ(Log(),
              (std::vector<std::string>{"3 readEventArr: alloc failed\n", "3 readEventArr: alloc failed\n"}));
    EXPECT_TRUE(SentUnder("config.readv.dyn.evh").empty());
}

TEST_F(EventDbChange, FiltersTheFirstComponent) {
    const std::vector<std::string> filters = SentUnder("cbus.filter");

    EXPECT_EQ(filters.back(), "config.change.dyn\0"s);
}

TEST_F(EventDbChange, AtTheCountAppends) {
    ChangeValue("dyn.evh.store.1", ValueOf(Event(11, kEventStateOn, kEventSeverityWarning)));

    EXPECT_EQ(IdsOf(m_store), (std::vector<uint32_t>{10, 11}));
}

TEST_F(EventDbChange, IsTakenByTheLoopAlone) {
    Change(1, Event(11, kEventStateOn, kEventSeverityWarning));

    EXPECT_TRUE(turnUntil([this] { return m_store.count() == 2; }));
}

TEST_F(EventDbChange, BelowTheCountUpdates) {
    ChangeValue("dyn.evh.store.0", ValueOf(Event(10, kEventStateOff, kEventSeverityWarning)));

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(m_store.first(nullptr)->state, kEventStateOff);
}

TEST_F(EventDbChange, SeveralInOneNotificationAreTakenInTheirOrder) {
    Store(0, Event(20, kEventStateOn, kEventSeverityWarning));
    Store(1, Event(21, kEventStateOn, kEventSeverityWarning));
    Store(2, Event(22, kEventStateOn, kEventSeverityWarning));
    m_database.announce({"dyn.evh.store.0", "dyn.evh.store.1", "dyn.evh.store.2"});
    Settle();

    EXPECT_EQ(IdsOf(m_store), (std::vector<uint32_t>{20, 21, 22}));
}

TEST_F(EventDbChange, ATwoDigitPositionIsOneNumber) {
    for (unsigned position = 1; position < 10; ++position) {
        Change(position, kOn);
    }
    Settle();
    EXPECT_EQ(m_store.count(), 10U);
    fake_syslog::forget();

    Change(10, kOn);
    Settle();

    EXPECT_EQ(Log(), (std::vector<std::string>{"3 change: event store is full (10), event 10 ignored\n"}));
}

TEST_F(EventDbChange, AKeyWithoutDigitsIsSkippedSilently) {
    for (const char* key : {"dyn.evh.store.", "dyn.evh.store.count", "dyn.evh.store.-1", "dyn.evh.store.+1",
                            "dyn.evh.store..1"}) {
        ChangeValue(key, ValueOf(kOn));
    }

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventDbChange, ANumberThatIsNoPositionIsSkippedSilently) {
    ChangeValue("dyn.evh.store.4294967296", ValueOf(kOn));
    ChangeValue("dyn.evh.store." + std::string(200, '9'), ValueOf(kOn));

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventDbChange, AnotherKeyOfTheEventHandlerIsNoEvent) {
    ChangeValue("dyn.evh.stored.1", ValueOf(kOn));

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventDbChange, AnotherLengthIsLoggedAndIgnored) {
    ChangeValue("dyn.evh.store.1", ValueOf(kOn) + "x");

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 Invalid event in change notification (33,2,a0b2c4d8)\n"}));
}

TEST_F(EventDbChange, AValueShorterThanAnEventIsNotReadBeyondItsEnd) {
    for (const size_t length : {0U, 1U, 31U}) {
        ChangeValue("dyn.evh.store.1", ValueOf(kOn).substr(0, length));
    }

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 Invalid event in change notification (0,0,0)\n",
                                               "3 Invalid event in change notification (1,0,0)\n",
                                               "3 Invalid event in change notification (31,0,0)\n"}));
}

TEST_F(EventDbChange, ADeletedEventIsLoggedAndStays) {
    m_database.erase("dyn.evh.store.0");
    m_database.announce({"dyn.evh.store.0"});
    Settle();

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 Invalid event in change notification (0,0,0)\n"}));
}

TEST_F(EventDbChange, AnotherVersionIsLoggedAndIgnored) {
    UserEvent foreign = kOn;
    foreign.version = 3;

    ChangeValue("dyn.evh.store.1", ValueOf(foreign));

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 Invalid event in change notification (32,3,a0b2c4d8)\n"}));
}

TEST_F(EventDbChange, AnotherMagicIsLoggedAndIgnored) {
    UserEvent foreign = kOn;
    foreign.magic = 0x12345678;

    ChangeValue("dyn.evh.store.1", ValueOf(foreign));

    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 Invalid event in change notification (32,2,12345678)\n"}));
}

TEST_F(EventDbChange, AnInvalidEventDoesNotKeepTheOthersFromBeingTaken) {
    m_database.setBinary("dyn.evh.store.0", "x");
    Store(1, Event(11, kEventStateOn, kEventSeverityWarning));
    m_database.announce({"dyn.evh.store.0", "dyn.evh.store.1"});
    Settle();

    EXPECT_EQ(IdsOf(m_store), (std::vector<uint32_t>{10, 11}));
}

TEST_F(EventDbChange, BeyondTheEndOfTheListStopsTheProcess) {
    const std::string value = ValueOf(kOn);
    const config_data_t entry{16, "dyn.evh.store.2", const_cast<char*>(value.data()), 32, 32, 0};

    EXPECT_EXIT(EventDb::changeEventCallback(1, &entry, nullptr), testing::KilledBySignal(SIGABRT),
                "ASSERT in event_store at");
}

TEST_F(EventDbText, IsWrittenUnderAttributeAndIdentifier) {
    EventDb::writeTextAttr("stxt", 66128, "EV_AP_OEM_WARNING");
    EventDb::writeTextAttr("utxt", 66128, "Warning of the integrator");
    waitForDatabase();

    EXPECT_EQ(m_database.text("txt.evh.stxt.66128"), "EV_AP_OEM_WARNING");
    EXPECT_EQ(m_database.text("txt.evh.utxt.66128"), "Warning of the integrator");
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventDbText, IsReadBackUnderTheSameKeyForEveryIdentifier) {
    char text[20] = "";
    for (const uint32_t id : {0U, 66128U, 0x80000000U, 0xFFFFFFFFU}) {
        EventDb::writeTextAttr("stxt", id, "text");

        EXPECT_EQ(EventDb::readTextAttr("stxt", static_cast<int>(id), text, sizeof text), 0);
        EXPECT_STREQ(text, "text");
    }
}

TEST_F(EventDbText, IsCutToTheBuffer) {
    EventDb::writeTextAttr("utxt", 5, "0123456789");
    char text[] = "xxxx";

    EXPECT_EQ(EventDb::readTextAttr("utxt", 5, text, 4), 0);

    EXPECT_STREQ(text, "012");
}

TEST_F(EventDbText, ThatIsMissingIsLoggedAndLeavesTheBuffer) {
    char text[] = "xxxx";

    EXPECT_EQ(EventDb::readTextAttr("utxt", 5, text, 4), -5);

    EXPECT_STREQ(text, "xxxx");
    EXPECT_EQ(Log(),
              (std::vector<std::string>{"3 readTextAttr: config_read_string[txt.evh.utxt.5] failed(-5)\n"}));
}

TEST_F(EventDbText, AnAttributeHasFiveCharactersAtMost) {
    char text[4] = "";
    EventDb::writeTextAttr("abcde", 5, "text");
    EXPECT_EQ(EventDb::readTextAttr("abcde", 5, text, 4), 0);

    EXPECT_EXIT(EventDb::writeTextAttr("abcdef", 5, "text"), testing::KilledBySignal(SIGABRT),
                "ASSERT in event_db at");
    EXPECT_EXIT(static_cast<void>(EventDb::readTextAttr("abcdef", 5, text, 4)),
                testing::KilledBySignal(SIGABRT), "ASSERT in event_db at");
}
