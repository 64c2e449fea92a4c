// SPDX-License-Identifier: MIT

#include "src/base/date_time.h"

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

using utilities::DateTime;

namespace {

constexpr unsigned long long kSecond = 1000;
constexpr unsigned long long kMinute = 60 * kSecond;
constexpr unsigned long long kHour = 60 * kMinute;
constexpr unsigned long long kDay = 24 * kHour;

constexpr unsigned long long kNow = 5000 * kDay;

// 2024-01-31 12:05:09 UTC, a Wednesday
constexpr unsigned long long kInJanuary = 1706702709ULL * kSecond;

std::string Back(unsigned long long milliseconds) {
    return DateTime(kNow - milliseconds).ago(DateTime(kNow));
}

std::string Span(unsigned long long milliseconds) {
    return DateTime(milliseconds).timespan();
}

}  // namespace

TEST(DateTimeWeekDay, NamesSevenDaysOnly) {
    EXPECT_STREQ(DateTime::WeekDay::toString(0), "Sun");
    EXPECT_STREQ(DateTime::WeekDay::toString(6), "Sat");
    EXPECT_STREQ(DateTime::WeekDay::toString(7), "UNKNOWN");
}

TEST(DateTimeMonth, NamesTwelveMonthsOnly) {
    EXPECT_STREQ(DateTime::Month::toString(0), "Jan");
    EXPECT_STREQ(DateTime::Month::toString(11), "Dec");
    EXPECT_STREQ(DateTime::Month::toString(12), "UNKNOWN");
}

TEST(DateTime, BeginsAtTheEpoch) {
    EXPECT_EQ(DateTime().timestamp(), "1970-01-01 00:00:00");
}

TEST(DateTime, GivesTheFieldsOfItsInstant) {
    const DateTime instant(kInJanuary);

    EXPECT_EQ(instant.year(), 2024);
    EXPECT_EQ(instant.month(), 1);
    EXPECT_EQ(instant.day(), 31);
    EXPECT_EQ(instant.hour(), 12);
    EXPECT_EQ(instant.minute(), 5);
    EXPECT_EQ(instant.second(), 9);
    EXPECT_EQ(instant.weekday(), 3);
    EXPECT_FALSE(instant.dst());
}

TEST(DateTime, ConvertsToLocalTime) {
    setenv("TZ", "XST-2XDT,0/0,364/24", 1);  // daylight saving all the year round: three hours ahead
    tzset();
    DateTime instant(kInJanuary);

    instant.asLocalTime();
    const int hour = instant.hour();
    const bool dst = instant.dst();
    unsetenv("TZ");
    tzset();

    EXPECT_EQ(hour, 15);
    EXPECT_TRUE(dst);
}

TEST(DateTime, SetsAnotherInstant) {
    DateTime instant;

    instant.set(kInJanuary);

    EXPECT_EQ(instant.milliseconds(), kInJanuary);
    EXPECT_EQ(instant.year(), 2024);
}

TEST(DateTime, CopiesTheInstantWithoutItsFields) {
    const DateTime instant(kInJanuary);
    DateTime copy(instant);

    copy.asUTC();

    EXPECT_EQ(copy.milliseconds(), kInJanuary);
    EXPECT_EQ(copy.timestamp(), "2024-01-31 12:05:09");
}

TEST(DateTime, KeepsItsOwnFieldsWhenAssignedAnotherInstant) {
    DateTime instant(kInJanuary);
    const DateTime other(0);
    instant.asUTC();

    instant = other;

    EXPECT_EQ(instant.milliseconds(), 0U);
    EXPECT_EQ(instant.year(), 2024);
}

TEST(DateTime, SharesItsFieldsWithTheNextConversion) {
    const DateTime instant(kInJanuary);

    const DateTime other(0);

    EXPECT_EQ(instant.year(), 1970);
}

TEST(DateTime, AddsAndSubtractsMilliseconds) {
    EXPECT_EQ((DateTime(kMinute) + DateTime(kSecond)).milliseconds(), 61000U);
    EXPECT_EQ((DateTime(kMinute) - DateTime(kSecond)).milliseconds(), 59000U);
}

TEST(DateTime, ConvertsASum) {
    EXPECT_EQ((DateTime(kDay) + DateTime(kHour)).timestamp(), "1970-01-02 01:00:00");
}

TEST(DateTime, AddsAndSubtractsInPlace) {
    DateTime instant(kMinute);

    instant += DateTime(kSecond);
    instant -= DateTime(kMinute);

    EXPECT_EQ(instant.milliseconds(), kSecond);
}

TEST(DateTime, WrapsBelowZero) {
    EXPECT_EQ((DateTime(0) - DateTime(1)).milliseconds(), UINT64_MAX);
}

TEST(DateTime, ComparesInstants) {
    const DateTime early(1);
    const DateTime late(2);

    EXPECT_TRUE(early == DateTime(1) && early != late);
    EXPECT_TRUE(early < late && early <= late && early <= DateTime(1));
    EXPECT_TRUE(late > early && late >= early && late >= DateTime(2));
    EXPECT_FALSE(early > late || early >= late || late < early || late <= early);
}

TEST(DateTime, ReadsTheMonotonicClockAsASigned32BitNumber) {
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    DateTime now;

    now.clockGetTime();

    const auto expected = static_cast<std::uint32_t>(before.tv_sec * 1000 + before.tv_nsec / 1000000);
    EXPECT_LE(static_cast<std::uint32_t>(now.milliseconds()) - expected, 5000U);
    EXPECT_EQ(now.milliseconds(),
              static_cast<unsigned long long>(static_cast<std::int32_t>(now.milliseconds())));
}

TEST(DateTime, ReadsTheWallClockInWholeSeconds) {
    const auto before = static_cast<unsigned long long>(std::time(nullptr));
    DateTime now;

    now.getDateAndTime();

    EXPECT_EQ(now.milliseconds() % 1000U, 0U);
    EXPECT_GE(now.milliseconds() / 1000U, before);
    EXPECT_LE(now.milliseconds() / 1000U, before + 60U);
}

TEST(DateTimeToString, EndsWithACommaAndABlank) {
    EXPECT_EQ(DateTime(kInJanuary).toString(),
              "Wed 2024-01-31 12:05:09 DST=no, 1706702709 seconds since epoch, ");
}

TEST(DateTimeTimestamp, FillsItsFieldsWithZeros) {
    EXPECT_EQ(DateTime(kInJanuary).timestamp(), "2024-01-31 12:05:09");
}

TEST(DateTimeStr, NamesTheMonthAfterTheInstants) {
    EXPECT_EQ(DateTime(kInJanuary).str(), "Wed Feb 31 12:05:09 2024");
}

TEST(DateTimeStr, NamesDecemberForNovember) {
    EXPECT_EQ(DateTime(kInJanuary - 70 * kDay).str(), "Wed Dec 22 12:05:09 2023");
}

TEST(DateTimeStr, HasNoNameForDecember) {
    EXPECT_EQ(DateTime(kInJanuary - 40 * kDay).str(), "Fri UNKNOWN 22 12:05:09 2023");
}

TEST(DateTimeAgo, CallsLessThanTwoSecondsASecond) {
    EXPECT_EQ(Back(0), "a second ago");
    EXPECT_EQ(Back(1999), "a second ago");
    EXPECT_EQ(Back(2000), "2 seconds ago");
}

TEST(DateTimeAgo, CountsSecondsBelowAMinute) {
    EXPECT_EQ(Back(59 * kSecond), "59 seconds ago");
}

TEST(DateTimeAgo, CountsMinutesBelowAnHour) {
    EXPECT_EQ(Back(61 * kSecond), "a minute ago");
    EXPECT_EQ(Back(59 * kMinute), "59 minutes ago");
}

TEST(DateTimeAgo, SaysAnHourWhenTheMinutesAreOne) {
    EXPECT_EQ(Back(kHour + kMinute), "an hour ago");
    EXPECT_EQ(Back(kHour + 5 * kMinute), "1 hours ago");
    EXPECT_EQ(Back(2 * kHour), "2 hours ago");
    EXPECT_EQ(Back(2 * kHour + kMinute), "an hour ago");
}

TEST(DateTimeAgo, CountsDaysBelowAYear) {
    EXPECT_EQ(Back(kDay), "a day ago");
    EXPECT_EQ(Back(30 * kDay), "30 days ago");
    EXPECT_EQ(Back(364 * kDay), "364 days ago");
}

TEST(DateTimeAgo, CountsYears) {
    EXPECT_EQ(Back(400 * kDay), "a year ago");
    EXPECT_EQ(Back(730 * kDay), "2 years ago");
}

TEST(DateTimeAgo, LooksAheadToALaterInstant) {
    EXPECT_EQ(DateTime(kNow + 30 * kDay).ago(DateTime(kNow)), "in 30 days");
}

TEST(DateTimeAgo, ComparesWithTheMonotonicClock) {
    DateTime now;
    now.clockGetTime();

    EXPECT_EQ((now + DateTime(30 * kDay + kHour)).ago(), "in 30 days");
}

TEST(DateTimeTimespan, GivesMillisecondsAlone) {
    EXPECT_EQ(Span(0), "0 milliseconds");
    EXPECT_EQ(Span(500), "500 milliseconds");
}

TEST(DateTimeTimespan, WritesOneWithoutAPlural) {
    EXPECT_EQ(Span(1001), "1 second, 1 millisecond");
}

TEST(DateTimeTimespan, PrintsTheZerosBelowTheLargestUnit) {
    EXPECT_EQ(Span(kHour), "1 hour, 0 minutes, 0 seconds, 0 milliseconds");
}

TEST(DateTimeTimespan, BeginsEachUnitAtItsOwnLimit) {
    EXPECT_EQ(Span(kMinute - 1), "59 seconds, 999 milliseconds");
    EXPECT_EQ(Span(kMinute), "1 minute, 0 seconds, 0 milliseconds");
    EXPECT_EQ(Span(kDay), "1 day, 0 hours, 0 minutes, 0 seconds, 0 milliseconds");
}

TEST(DateTimeTimespan, PutsYearsBeforeTheDays) {
    EXPECT_EQ(Span(365 * kDay), "1 year, 0 days, 0 hours, 0 minutes, 0 seconds, 0 milliseconds");
    EXPECT_EQ(Span(2 * 365 * kDay + 3 * kDay + 2 * kHour + 4 * kMinute + 5 * kSecond + 6),
              "2 years, 3 days, 2 hours, 4 minutes, 5 seconds, 6 milliseconds");
}
