// SPDX-License-Identifier: MIT

#include "runtime/px_time.h"

#include <cstdlib>

#include <gtest/gtest.h>

#include "FakeClock.h"

namespace {

constexpr std::time_t kNewYear2015 = 1420070400;

// The local zone of the process for the length of a test.
class LocalZone {
  public:
    explicit LocalZone(const char* zone) { Set(zone); }
    ~LocalZone() { Set("UTC"); }
    LocalZone(const LocalZone&) = delete;
    LocalZone& operator=(const LocalZone&) = delete;

  private:
    static void Set(const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
    }
};

}  // namespace

TEST(PxTime, GivesTheSecondsOfTheWallClock) {
    FakeClock clock;
    clock.SetWallClock(1600000001, 999999);

    EXPECT_EQ(px_time(), 1600000001);
}

TEST(PxTime, GivesSecondsAndMillisecondsTogether) {
    FakeClock clock;
    clock.SetWallClock(1600000001, 250999);

    px_tvms_t now = {};
    const int result = px_time_tvms(&now);

    EXPECT_EQ(result, 1);
    EXPECT_EQ(now.seconds, 1600000001);
    EXPECT_EQ(now.milliseconds, 250u);
}

TEST(PxTime, SetsTheWallClockToWholeSeconds) {
    FakeClock clock;
    clock.SetWallClock(5, 777777);

    const int result = px_stime(1600000000);

    px_tvms_t now = {};
    px_time_tvms(&now);
    EXPECT_EQ(result, 0);
    EXPECT_EQ(now.seconds, 1600000000);
    EXPECT_EQ(now.milliseconds, 0u);
}

// One test for the whole life of the answer: it is remembered until the process ends.
TEST(PxTimeValid, TurnsTrueAtNewYear2015AndStaysSo) {
    FakeClock clock;

    clock.SetWallClock(kNewYear2015 - 1, 999999);
    EXPECT_FALSE(px_time_valid());

    clock.SetWallClock(kNewYear2015, 0);
    EXPECT_TRUE(px_time_valid());

    clock.SetWallClock(0, 0);
    EXPECT_TRUE(px_time_valid());
}

TEST(PxMonotonic, CountsMilliseconds) {
    FakeClock clock;
    clock.SetMonotonic(12, 345999999);

    EXPECT_EQ(px_time_ms(), 12345u);
}

TEST(PxMonotonic, CountsMicroseconds) {
    FakeClock clock;
    clock.SetMonotonic(12, 345678999);

    EXPECT_EQ(px_time_us(), 12345678u);
}

TEST(PxMonotonic, WrapsAtThirtyTwoBits) {
    FakeClock clock;
    clock.SetMonotonic(4294967, 300000000);  // 2^32 + 4 ms

    EXPECT_EQ(px_time_ms(), 4u);
}

TEST(PxMonotonic, MeasuresTheTrueMillisecondsAcrossTheWrap) {
    FakeClock clock;
    clock.SetMonotonic(4294967, 290000000);
    const std::uint32_t start = px_time_ms();

    clock.AdvanceMonotonicMs(14);

    EXPECT_GT(start, px_time_ms());
    EXPECT_EQ(px_time_ms_elapsed(start), 14u);
}

TEST(PxMonotonic, MeasuresTheTrueMicrosecondsAcrossTheWrap) {
    FakeClock clock;
    clock.SetMonotonic(4294, 967000000);
    const std::uint32_t start = px_time_us();

    clock.AdvanceMonotonicMs(1);

    EXPECT_GT(start, px_time_us());
    EXPECT_EQ(px_time_us_elapsed(start), 1000u);
}

TEST(PxDelay, WaitsAtLeastTheMicroseconds) {
    const std::uint32_t start = px_time_us();

    const std::uint32_t waited = px_time_us_delay(200);

    EXPECT_GE(waited, 200u);
    EXPECT_GE(px_time_us_elapsed(start), waited);
}

TEST(PxDelay, WaitsAtLeastTheMilliseconds) {
    EXPECT_GE(px_time_ms_delay(2), 2000u);
}

TEST(PxDelay, OfNothingReturnsAtOnce) {
    EXPECT_EQ(px_time_us_delay(0), 0u);
}

TEST(PxUtc, BreaksSecondsDownInUtcWhateverTheLocalZone) {
    const LocalZone zone("EST5");

    std::tm tm = {};
    px_utc_time_to_tm(kNewYear2015, &tm);

    EXPECT_EQ(tm.tm_year, 115);
    EXPECT_EQ(tm.tm_hour, 0);
}

TEST(PxUtc, FormatsInUtcWhateverTheLocalZone) {
    const LocalZone zone("EST5");

    char text[32];
    const std::size_t length = px_utc_strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", kNewYear2015);

    EXPECT_EQ(length, 19u);
    EXPECT_STREQ(text, "2015-01-01 00:00:00");
}

TEST(PxUtc, AnswersZeroWhenTheTextDoesNotFit) {
    char text[4];

    EXPECT_EQ(px_utc_strftime(text, sizeof text, "%Y-%m-%d", kNewYear2015), 0u);
}

TEST(PxUtc, ReadsFieldsBackAsLocalTime) {
    const LocalZone zone("EST5");
    std::tm tm = {};
    px_utc_time_to_tm(kNewYear2015, &tm);

    EXPECT_EQ(px_utc_tm_to_time(&tm), kNewYear2015 + 5 * 3600);
}
