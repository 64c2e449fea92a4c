// SPDX-License-Identifier: MIT

#include "events/EventStore.h"

#include "AllocationFailure.h"
#include "events/EventRecordFilter.h"
#include "tests/support/EventFixture.h"

namespace {

class EventStoreTest : public EventFixture {
  protected:
    static constexpr unsigned kCapacity = 8;
    EventStoreTest() { m_store.restore(); }

    // Appends events with these identifiers, all of them ON warnings.
    void Append(const std::vector<uint32_t>& ids) {
        for (const uint32_t id : ids) {
            m_store.change(m_store.count(), Event(id, kEventStateOn, kEventSeverityWarning));
        }
    }

    EventStore m_store{kCapacity};
};

using EventStoreCapacity = testing::Test;
using EventStoreWalk = EventStoreTest;
using EventStoreAppend = EventStoreTest;
using EventStoreUpdate = EventStoreTest;

constexpr char kAssert[] = "ASSERT in event_store at";

}  // namespace

TEST(EventStoreCapacity, IsBetweenOneAnd9999) {
    EXPECT_EQ(EventStore(1).count(), 0U);
    EXPECT_EQ(EventStore(9999).count(), 0U);
    EXPECT_EXIT(EventStore(0), testing::KilledBySignal(SIGABRT), kAssert);
    EXPECT_EXIT(EventStore(10000), testing::KilledBySignal(SIGABRT), kAssert);
}

TEST(EventStoreCapacity, WithoutMemoryForItStopsTheProcess) {
    EXPECT_EXIT(
        {
            const AllocationFailure failure(0);
            EventStore store(5);
        },
        testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(EventStoreAppend, AtTheCountGivesTheNewRecord) {
    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->ev_id, 10U);
    EXPECT_EQ(m_store.count(), 1U);
    EXPECT_EQ(m_store.first(nullptr), record);
}

TEST_F(EventStoreAppend, TakesEveryFieldOfTheValue) {
    const EventRecord* const record = m_store.change(0, {.severity = 2,
                                                         .state = 3,
                                                         .ev_id = 10,
                                                         .source = 11,
                                                         .subsource = 12,
                                                         .info = 13,
                                                         .extra = 14,
                                                         .on_time = 15,
                                                         .ev_time = 16});

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->severity, 2U);
    EXPECT_EQ(record->state, 3U);
    EXPECT_EQ(record->creation_id, 10U);
    EXPECT_EQ(record->source, 11U);
    EXPECT_EQ(record->subsource, 12U);
    EXPECT_EQ(record->info, 13U);
    EXPECT_EQ(record->extra, 14U);
    EXPECT_EQ(record->on_time, 15U);
    EXPECT_EQ(record->ev_time, 16U);
    EXPECT_EQ(record->time_offset, 0);
}

TEST_F(EventStoreAppend, LooksUpBothTexts) {
    SetTexts(10, "Antenna fault", "ANT");

    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_TRUE(record->has_text);
    EXPECT_TRUE(record->has_short_text);
    EXPECT_EQ(record->text_id, 10U);
    EXPECT_STREQ(record->getText("en", nullptr), "Antenna fault");
    EXPECT_STREQ(record->getShortText(), "ANT");
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventStoreAppend, WithoutTextsKeepsTheDefault) {
    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_FALSE(record->has_text);
    EXPECT_EQ(*record->text, "No user text");
    EXPECT_EQ(record->text_id, 0U);
    EXPECT_STREQ(record->getText("en", nullptr), "");
    EXPECT_FALSE(record->has_short_text);
    EXPECT_EQ(record->short_text, nullptr);
    EXPECT_EQ(Log(),
              (std::vector<std::string>{"3 readTextAttr: config_read_string[txt.evh.utxt.10] failed(-5)\n",
                                        "3 readTextAttr: config_read_string[txt.evh.stxt.10] failed(-5)\n"}));
}

TEST_F(EventStoreAppend, CutsLongTexts) {
    SetTexts(10, std::string(200, 'u'), std::string(200, 's'));

    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(*record->text, std::string(79, 'u'));
    EXPECT_EQ(*record->short_text, std::string(39, 's'));
}

TEST_F(EventStoreAppend, TakesNoTextOfAnotherType) {
    m_database.setInt("txt.evh.utxt.10", 0x41414141);
    m_database.setBinary("txt.evh.stxt.10", std::string(100, 'A'));

    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_FALSE(record->has_text);
    EXPECT_FALSE(record->has_short_text);
    EXPECT_EQ(Log().front(), "3 readTextAttr: config_read_string[txt.evh.utxt.10] failed(-6)\n");
}

TEST_F(EventStoreAppend, TextsWithoutTheirEndStopAtTheirLength) {
    m_database.replyNextWith(std::string("\0\0\0\0\2\0\0\0\3\0\0\0abc", 15));  // status, type, length, no NUL
    m_database.replyNextWith(std::string("\0\0\0\0\2\0\0\0\0\0\0\0", 12));     // no byte at all

    const EventRecord* const record = m_store.change(0, Event(10, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(*record->text, "abc");
    EXPECT_EQ(*record->short_text, "");
}

TEST_F(EventStoreAppend, BeyondTheCountStopsTheProcess) {
    Append({10, 11, 12, 13, 14});

    EXPECT_EXIT(m_store.change(7, Event(17, kEventStateOn, kEventSeverityWarning)),
                testing::KilledBySignal(SIGABRT), kAssert);
}

TEST_F(EventStoreAppend, AtTheCountOfAHalfFullStoreAppends) {
    Append({10, 11, 12, 13, 14});

    EXPECT_NE(m_store.change(5, Event(15, kEventStateOn, kEventSeverityWarning)), nullptr);
    EXPECT_EQ(m_store.count(), 6U);
}

TEST_F(EventStoreAppend, ToAFullStoreIsLoggedAndIgnored) {
    Append({10, 11, 12, 13, 14, 15, 16, 17});
    fake_syslog::forget();

    EXPECT_EQ(m_store.change(8, Event(18, kEventStateOn, kEventSeverityWarning)), nullptr);

    EXPECT_EQ(m_store.count(), 8U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 change: event store is full (8), event 8 ignored\n"}));
}

TEST_F(EventStoreAppend, BehindTheFirstThatAFullStoreIgnoredIsIgnoredToo) {
    Append({10, 11, 12, 13, 14, 15, 16, 17});

    EXPECT_EQ(m_store.change(9, Event(19, kEventStateOn, kEventSeverityWarning)), nullptr);

    EXPECT_EQ(m_store.count(), 8U);
}

TEST_F(EventStoreUpdate, OfAFullStoreIsTaken) {
    Append({10, 11, 12, 13, 14, 15, 16, 17});

    const EventRecord* const record = m_store.change(7, Event(17, kEventStateOff, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->state, kEventStateOff);
}

TEST_F(EventStoreUpdate, OfInfoAndTimesAloneIsStoredSilently) {
    Append({10});
    UserEvent event = Event(10, kEventStateOn, kEventSeverityWarning, 77);
    event.on_time = 100;
    event.ev_time = 101;

    EXPECT_EQ(m_store.change(0, event), nullptr);

    EXPECT_EQ(m_store.first(nullptr)->info, 77U);
    EXPECT_EQ(m_store.first(nullptr)->on_time, 100U);
    EXPECT_EQ(m_store.first(nullptr)->ev_time, 101U);
}

TEST_F(EventStoreUpdate, OfSeveritySourcesAndExtraIsStoredSilently) {
    Append({10});
    UserEvent event = Event(10, kEventStateOn, kEventSeverityFatal);
    event.source = 1;
    event.subsource = 2;
    event.extra = 3;

    EXPECT_EQ(m_store.change(0, event), nullptr);

    const EventStoreItem* const record = m_store.first(nullptr);
    EXPECT_EQ(record->severity, kEventSeverityFatal);
    EXPECT_EQ(record->source, 1U);
    EXPECT_EQ(record->subsource, 2U);
    EXPECT_EQ(record->extra, 3U);
}

TEST_F(EventStoreUpdate, OfTheStateGivesTheRecord) {
    Append({10});

    EXPECT_EQ(m_store.change(0, Event(10, kEventStateOff, kEventSeverityWarning)), m_store.first(nullptr));
    EXPECT_EQ(m_store.first(nullptr)->state, kEventStateOff);
}

TEST_F(EventStoreUpdate, WithStateNoneGivesTheRecordEachTime) {
    m_store.change(0, Event(10, kEventStateNone, kEventSeverityWarning, 1));

    EXPECT_NE(m_store.change(0, Event(10, kEventStateNone, kEventSeverityWarning, 2)), nullptr);
    EXPECT_NE(m_store.change(0, Event(10, kEventStateNone, kEventSeverityWarning, 2)), nullptr);
}

TEST_F(EventStoreUpdate, OfTheIdentifierGivesTheRecordWithItsTextsAndCreation) {
    SetTexts(10, "Antenna fault", "ANT");
    SetTexts(11, "Fan fault", "FAN");
    Append({10});

    const EventRecord* const record = m_store.change(0, Event(11, kEventStateOn, kEventSeverityWarning));

    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->ev_id, 11U);
    EXPECT_EQ(record->creation_id, 10U);
    EXPECT_EQ(record->text_id, 10U);
    EXPECT_STREQ(record->getText("en", nullptr), "Antenna fault");
    EXPECT_STREQ(record->getShortText(), "ANT");
}

TEST_F(EventStoreUpdate, TouchesNoOtherRecord) {
    Append({10, 11, 12});

    m_store.change(1, Event(21, kEventStateOn, kEventSeverityWarning));

    EXPECT_EQ(IdsOf(m_store), (std::vector<uint32_t>{10, 21, 12}));
}

TEST_F(EventStoreWalk, GoesForwardThroughAllWithoutAFilter) {
    Append({10, 11, 12});

    const EventStoreItem* const first = m_store.first(nullptr);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->ev_id, 10U);
    EXPECT_EQ(m_store.next(nullptr, first), first + 1);
    EXPECT_EQ(m_store.next(nullptr, first + 2), nullptr);
}

TEST_F(EventStoreWalk, GoesBackwardThroughAllWithoutAFilter) {
    Append({10, 11, 12});

    const EventStoreItem* const last = m_store.last(nullptr);
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->ev_id, 12U);
    EXPECT_EQ(m_store.prev(nullptr, last), last - 1);
    EXPECT_EQ(m_store.prev(nullptr, last - 2), nullptr);
}

TEST_F(EventStoreWalk, StopsAtWhatPassesTheFilter) {
    Append({10, 11, 12, 13, 14});
    m_store.change(1, Event(11, kEventStateOff, kEventSeverityWarning));
    m_store.change(3, Event(13, kEventStateOff, kEventSeverityWarning));
    const StateSeverityFilter is_off('A', kEventStateOff);

    const EventStoreItem* const first = m_store.first(&is_off);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->ev_id, 11U);
    const EventStoreItem* const second = m_store.next(&is_off, first);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(second->ev_id, 13U);
    EXPECT_EQ(m_store.next(&is_off, second), nullptr);
    EXPECT_EQ(m_store.last(&is_off), second);
    EXPECT_EQ(m_store.prev(&is_off, second), first);
    EXPECT_EQ(m_store.prev(&is_off, first), nullptr);
}

TEST_F(EventStoreWalk, OfAnEmptyStoreFindsNothing) {
    EXPECT_EQ(m_store.first(nullptr), nullptr);
    EXPECT_EQ(m_store.last(nullptr), nullptr);
}

TEST_F(EventStoreWalk, FromWhatIsNoRecordOfTheStoreFindsNothing) {
    Append({10, 11});
    const EventStoreItem* const first = m_store.first(nullptr);
    const EventRecord stranger;

    for (const EventStoreItem* item : {static_cast<const EventStoreItem*>(nullptr), &stranger, first + 2}) {
        EXPECT_EQ(m_store.next(nullptr, item), nullptr);
        EXPECT_EQ(m_store.prev(nullptr, item), nullptr);
    }
}

TEST_F(EventStoreWalk, AValidPointerLiesInTheUsedPart) {
    Append({10, 11});
    const EventStoreItem* const first = m_store.first(nullptr);
    const EventRecord stranger;

    EXPECT_TRUE(m_store.isValidPointer(first));
    EXPECT_TRUE(m_store.isValidPointer(first + 1));
    EXPECT_FALSE(m_store.isValidPointer(first + 2));
    EXPECT_FALSE(m_store.isValidPointer(&stranger));
    EXPECT_FALSE(m_store.isValidPointer(nullptr));
}

TEST_F(EventStoreWalk, ThePointersStayWhileTheStoreGrows) {
    Append({10});
    const EventStoreItem* const first = m_store.first(nullptr);

    Append({11, 12, 13, 14, 15, 16, 17});

    EXPECT_EQ(m_store.first(nullptr), first);
    EXPECT_EQ(first->ev_id, 10U);
}

TEST_F(EventStoreWalk, IterateCallsWithEveryRecordInOrder) {
    struct Collect : EventStoreFunc {
        void operator()(const EventRecord& record) override { ids.push_back(record.ev_id); }
        std::vector<uint32_t> ids;
    } collect;
    Append({10, 11, 12});

    m_store.iterate(collect);

    EXPECT_EQ(collect.ids, (std::vector<uint32_t>{10, 11, 12}));
}

TEST(EventStoreIndex, StepsByOne) {
    EXPECT_EQ(EventStore::nextIndex(4), 5U);
    EXPECT_EQ(EventStore::prevIndex(4), 3U);
}

TEST(EventStoreIndex, InFrontOfTheFirstLiesBehindEveryRecord) {
    EXPECT_GT(EventStore::prevIndex(0), 9999U);
}
