// SPDX-License-Identifier: MIT

#include "events/EventRecordFilter.h"

#include <gtest/gtest.h>

#include <csignal>

#include "tests/support/SecondsClock.h"

namespace {

constexpr std::time_t kNow = 1'700'000'000;
constexpr uint32_t kOff = 1;
constexpr uint32_t kOn = 2;
constexpr uint32_t kNone = 3;
constexpr uint32_t kInfo = 0;
constexpr uint32_t kWarning = 1;
constexpr uint32_t kError = 2;
constexpr uint32_t kFatal = 3;

EventRecord Record(uint32_t state, uint32_t severity, std::time_t on_time = 0) {
    EventRecord record;
    record.state = state;
    record.severity = severity;
    record.on_time = static_cast<uint32_t>(on_time);
    return record;
}

}  // namespace

TEST(StateSeverityFilter, KindAComparesTheState) {
    const StateSeverityFilter filter('A', 2);

    EXPECT_TRUE(filter.test(Record(kOn, kInfo)));
    EXPECT_TRUE(filter.test(Record(kOn, kFatal)));
    EXPECT_FALSE(filter.test(Record(kOff, kError)));
}

TEST(StateSeverityFilter, KindBComparesTheSeverity) {
    const StateSeverityFilter filter('B', 2);

    EXPECT_TRUE(filter.test(Record(kOn, kError)));
    EXPECT_TRUE(filter.test(Record(kOff, kError)));
    EXPECT_FALSE(filter.test(Record(kOn, kFatal)));
}

TEST(StateSeverityFilter, AnyOtherKindStopsTheProcess) {
    EXPECT_EXIT(StateSeverityFilter('C', 2), testing::KilledBySignal(SIGABRT), "ASSERT in event_store at");
    EXPECT_EXIT(StateSeverityFilter('a', 2), testing::KilledBySignal(SIGABRT), "ASSERT in event_store at");
    EXPECT_EXIT(StateSeverityFilter('\0', 2), testing::KilledBySignal(SIGABRT), "ASSERT in event_store at");
}

TEST(StateSeverityFilter, WithBothComparesBoth) {
    const StateSeverityFilter filter(2, 1, false);

    EXPECT_TRUE(filter.test(Record(kOn, kWarning)));
    EXPECT_FALSE(filter.test(Record(kOff, kWarning)));
    EXPECT_FALSE(filter.test(Record(kOn, kError)));
}

TEST(StateSeverityFilter, InvertedAsksForAnotherSeverityButTheSameState) {
    const StateSeverityFilter filter(2, 1, true);

    EXPECT_FALSE(filter.test(Record(kOn, kWarning)));
    EXPECT_TRUE(filter.test(Record(kOn, kError)));
    EXPECT_FALSE(filter.test(Record(kOff, kError)));
}

TEST(StateSeverityFilter, ANegativeValueIsNoState) {
    EXPECT_FALSE(StateSeverityFilter('A', -1).test(Record(UINT32_MAX, kInfo)));
}

TEST(ActiveEventsFilter, PassesWhatIsOnAndMoreThanInformation) {
    const ActiveEventsFilter filter;

    EXPECT_TRUE(filter.test(Record(kOn, kWarning)));
    EXPECT_TRUE(filter.test(Record(kOn, kError)));
    EXPECT_TRUE(filter.test(Record(kOn, kFatal)));
    EXPECT_FALSE(filter.test(Record(kOn, kInfo)));
    EXPECT_FALSE(filter.test(Record(kOff, kWarning)));
    EXPECT_FALSE(filter.test(Record(kNone, kWarning)));
}

TEST(NotificationsFilter, PassesWhatWentOnWithinTheSpan) {
    const SecondsClock clock{kNow};

    EXPECT_TRUE(NotificationsFilter(60).test(Record(kOff, kWarning, kNow - 30)));
}

TEST(NotificationsFilter, RejectsWhatWentOnBeforeTheSpan) {
    const SecondsClock clock{kNow};

    EXPECT_FALSE(NotificationsFilter(60).test(Record(kOff, kWarning, kNow - 61)));
}

TEST(NotificationsFilter, TheWholeSpanCounts) {
    const SecondsClock clock{kNow};

    EXPECT_TRUE(NotificationsFilter(60).test(Record(kOff, kWarning, kNow - 60)));
}

TEST(NotificationsFilter, PassesOffAndNoneButNotOn) {
    const SecondsClock clock{kNow};
    const NotificationsFilter filter(60);

    EXPECT_TRUE(filter.test(Record(kOff, kWarning, kNow)));
    EXPECT_TRUE(filter.test(Record(kNone, kWarning, kNow)));
    EXPECT_FALSE(filter.test(Record(kOn, kWarning, kNow)));
    EXPECT_FALSE(filter.test(Record(0, kWarning, kNow)));
}

TEST(NotificationsFilter, RejectsInformation) {
    const SecondsClock clock{kNow};

    EXPECT_FALSE(NotificationsFilter(60).test(Record(kOff, kInfo, kNow)));
}

TEST(NotificationsFilter, AddsTheTimeOffsetOfTheRecord) {
    const SecondsClock clock{kNow};
    EventRecord record = Record(kOff, kWarning, kNow - 60);
    record.time_offset = -1;

    EXPECT_FALSE(NotificationsFilter(60).test(record));
}

TEST(NotificationsFilter, TakesTheTimeAtEachTest) {
    const SecondsClock clock{kNow, kNow + 1};
    const NotificationsFilter filter(60);
    const EventRecord record = Record(kOff, kWarning, kNow - 60);

    EXPECT_TRUE(filter.test(record));
    EXPECT_FALSE(filter.test(record));
}

TEST(NotificationsFilter, ComparesWithSign) {
    const SecondsClock clock{10};

    EXPECT_TRUE(NotificationsFilter(60).test(Record(kOff, kWarning, 0)));
}

TEST(NotificationsFilter, ATimeBeyond2038IsNoTimeLongAgo) {
    const SecondsClock clock{std::time_t{3'000'000'000}};

    EXPECT_TRUE(NotificationsFilter(60).test(Record(kOff, kWarning, 2'999'999'990)));
    EXPECT_FALSE(NotificationsFilter(60).test(Record(kOff, kWarning, 2'999'999'930)));
}
