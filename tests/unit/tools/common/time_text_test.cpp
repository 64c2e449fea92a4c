// SPDX-License-Identifier: MIT

#include "tools/common/time_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

namespace {

// A zone without daylight saving, two hours east.
class TimeText : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "EET-2", 1);
        tzset();
    }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
};

}  // namespace

TEST_F(TimeText, IsLocalTimeToTheMillisecond) {
    EXPECT_EQ(time_text(1763733785042999, TimePrecision::kMilliseconds), "2025-11-21T16:03:05.042");
}

TEST_F(TimeText, IsLocalTimeToTheMicrosecond) {
    EXPECT_EQ(time_text(1763733785000042, TimePrecision::kMicroseconds), "2025-11-21T16:03:05.000042");
}

TEST_F(TimeText, OfATimeBeyondTheCalendarIsItsNumber) {
    EXPECT_EQ(time_text(std::numeric_limits<uint64_t>::max(), TimePrecision::kMicroseconds),
              "18446744073709551615");
}
