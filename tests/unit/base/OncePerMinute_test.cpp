// SPDX-License-Identifier: MIT

#include "src/base/OncePerMinute.h"

#include <gtest/gtest.h>

namespace {

const OncePerMinute::Clock::time_point kStart{};

}  // namespace

TEST(OncePerMinute, LetsTheFirstLineThrough) {
    OncePerMinute line;

    EXPECT_EQ(line.take(kStart), 1U);
}

TEST(OncePerMinute, LetsNoOtherLineThroughInTheSameMinute) {
    OncePerMinute line;
    static_cast<void>(line.take(kStart));

    EXPECT_EQ(line.take(kStart + std::chrono::milliseconds(59999)), 0U);
}

TEST(OncePerMinute, CountsWhatTheNextLineStandsFor) {
    OncePerMinute line;
    static_cast<void>(line.take(kStart));
    static_cast<void>(line.take(kStart + std::chrono::seconds(1)));
    static_cast<void>(line.take(kStart + std::chrono::seconds(2)));

    EXPECT_EQ(line.take(kStart + std::chrono::minutes(1)), 3U);
    EXPECT_EQ(line.take(kStart + std::chrono::minutes(2)), 1U);
}
