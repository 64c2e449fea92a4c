// SPDX-License-Identifier: MIT

#include "events/EventRecordIterator.h"

#include "events/EventManager.h"
#include "events/EventRecordFilter.h"
#include "tests/support/EventFixture.h"
#include "tests/support/SecondsClock.h"

namespace {

// A store with the events 10 ON, 11 OFF, 12 ON; room for more.
class EventIterator : public EventFixture {
  protected:
    EventIterator() {
        m_store.restore();
        Append(10, kEventStateOn);
        Append(11, kEventStateOff);
        Append(12, kEventStateOn);
    }
    void Append(uint32_t ev_id, uint32_t state) {
        m_store.change(m_store.count(), Event(ev_id, state, kEventSeverityWarning));
    }
    static std::vector<uint32_t> Walk(EventRecordIterator& iterator) {
        std::vector<uint32_t> ids;
        for (; iterator.current() != nullptr; iterator.next()) {
            ids.push_back(iterator.current()->ev_id);
        }
        return ids;
    }

    EventManager m_manager{10};
    EventStore& m_store = m_manager.store();
    StateSeverityFilter m_is_on{'A', static_cast<int>(kEventStateOn)};
    StateSeverityFilter m_is_none{'A', static_cast<int>(kEventStateNone)};
};

}  // namespace

TEST_F(EventIterator, WalksAllRecordsWithoutAFilter) {
    EventStoreIterator iterator(nullptr, m_store);

    EXPECT_EQ(Walk(iterator), (std::vector<uint32_t>{10, 11, 12}));
}

TEST_F(EventIterator, StopsAtWhatPassesTheFilter) {
    EventStoreIterator iterator(&m_is_on, m_store);

    EXPECT_EQ(Walk(iterator), (std::vector<uint32_t>{10, 12}));
}

TEST_F(EventIterator, WithAFilterAloneWalksTheManagersStore) {
    EventStoreIterator iterator(&m_is_on);

    EXPECT_EQ(Walk(iterator), (std::vector<uint32_t>{10, 12}));
}

TEST_F(EventIterator, HasNoCurrentRecordWhenNothingPasses) {
    EventStoreIterator iterator(&m_is_none, m_store);

    EXPECT_EQ(iterator.current(), nullptr);
    iterator.next();
    EXPECT_EQ(iterator.current(), nullptr);
    EXPECT_EQ(iterator.beforeEnd(), nullptr);
}

TEST_F(EventIterator, ShowsACopyThatChangesOfTheStoreDoNotTouch) {
    const EventStoreIterator iterator(nullptr, m_store);

    m_store.change(0, Event(99, kEventStateOff, kEventSeverityFatal));

    EXPECT_FALSE(m_store.isValidPointer(iterator.current()));
    EXPECT_EQ(iterator.current()->ev_id, 10U);
}

TEST_F(EventIterator, KeepsTheFormerRecordAtTheEnd) {
    EventStoreIterator iterator(&m_is_on, m_store);
    iterator.next();
    const EventRecord* const last = iterator.current();
    EXPECT_EQ(iterator.beforeEnd(), nullptr);

    iterator.next();
    EXPECT_EQ(iterator.current(), nullptr);
    ASSERT_EQ(iterator.beforeEnd(), last);
    EXPECT_EQ(iterator.beforeEnd()->ev_id, 12U);

    iterator.next();
    EXPECT_EQ(iterator.current(), nullptr);
    EXPECT_EQ(iterator.beforeEnd(), last);
}

TEST_F(EventIterator, ContinuesAtTheEndWithWhatWasAppended) {
    EventStoreIterator iterator(&m_is_on, m_store);
    Walk(iterator);
    Append(13, kEventStateOff);
    Append(14, kEventStateOn);

    iterator.next();

    ASSERT_NE(iterator.current(), nullptr);
    EXPECT_EQ(iterator.current()->ev_id, 14U);
}

TEST_F(EventIterator, StartsAgainAfterAReset) {
    EventStoreIterator iterator(&m_is_on, m_store);
    Walk(iterator);

    iterator.reset();

    EXPECT_EQ(iterator.beforeEnd(), nullptr);
    EXPECT_EQ(Walk(iterator), (std::vector<uint32_t>{10, 12}));
}

TEST_F(EventIterator, AResetSeesWhatNoLongerPasses) {
    EventStoreIterator iterator(&m_is_on, m_store);
    m_store.change(0, Event(10, kEventStateOff, kEventSeverityWarning));
    m_store.change(2, Event(12, kEventStateOff, kEventSeverityWarning));

    iterator.reset();

    EXPECT_EQ(iterator.current(), nullptr);
}

TEST_F(EventIterator, ATimeOffsetIsZeroWithinASecond) {
    const SecondsClock clock{1000, 1000};

    const EventStoreIterator iterator(nullptr, m_store);

    EXPECT_EQ(iterator.current()->time_offset, 0);
}

TEST_F(EventIterator, ATimeOffsetIsMinusOneAcrossASecond) {
    const SecondsClock clock{1000, 1001, 1001};

    EventStoreIterator iterator(nullptr, m_store);

    EXPECT_EQ(iterator.current()->time_offset, -1);
    iterator.next();
    EXPECT_EQ(iterator.current()->time_offset, -1);
    EXPECT_EQ(m_store.first(nullptr)->time_offset, 0);
}

TEST_F(EventIterator, AResetTakesTheTimeOffsetAnew) {
    const SecondsClock clock{1000, 1001, 1001, 1001};
    EventStoreIterator iterator(nullptr, m_store);

    iterator.reset();

    EXPECT_EQ(iterator.current()->time_offset, 0);
}
