// SPDX-License-Identifier: MIT

#include "events/event_counts.h"

#include "events/EventManager.h"
#include "tests/support/EventFixture.h"

namespace {

// ON and OFF of every severity, and one FATAL more that is ON.
class EventCounts : public EventFixture {
  protected:
    EventCounts() {
        unsigned position = 0;
        for (const uint32_t state : {kEventStateOn, kEventStateOff}) {
            for (uint32_t severity = kEventSeverityInfo; severity <= kEventSeverityFatal; ++severity) {
                Store(position++, Event(10, state, severity));
            }
        }
        Store(position, Event(10, kEventStateOn, kEventSeverityFatal));
        m_manager.emInit();
    }

    EventManager m_manager{20};
};

}  // namespace

TEST_F(EventCounts, CountsStateAndSeverity) {
    EXPECT_EQ(countStoreEvents(2, 3, false), 2U);
    EXPECT_EQ(countStoreEvents(1, 3, false), 1U);
    EXPECT_EQ(countStoreEvents(3, 3, false), 0U);
}

TEST_F(EventCounts, InvertedCountsTheOtherSeveritiesOfTheState) {
    EXPECT_EQ(countStoreEvents(2, 3, true), 3U);
    EXPECT_EQ(countStoreEvents(1, 0, true), 3U);
}

TEST_F(EventCounts, ActiveNonInfoAreOnAndWarningErrorOrFatal) {
    EXPECT_EQ(numberActiveNonInfoEvents(), 4U);
}

TEST_F(EventCounts, ActiveErrorsAreOnAndErrorButNotFatal) {
    EXPECT_EQ(numberActiveErrorEvents(), 1U);
}

TEST(EventCountsDeathTest, WithoutAManagerStopTheProcess) {
    EXPECT_EXIT(static_cast<void>(numberActiveErrorEvents()), testing::KilledBySignal(SIGABRT),
                "ASSERT in event_manager at");
}
