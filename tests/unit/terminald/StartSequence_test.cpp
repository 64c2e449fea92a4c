// SPDX-License-Identifier: MIT

#include "device/terminald/StartSequence.h"

#include <gtest/gtest.h>

namespace {

constexpr uint32_t kStart = 5000;

// The status after so many milliseconds.
SystemStatus StatusAfter(uint32_t elapsed_ms, double speed = 1) {
    StartSequence sequence(kStart, speed);
    sequence.advance(kStart + elapsed_ms);
    return sequence.status();
}

}  // namespace

TEST(StartSequence, BeginsInitializing) {
    EXPECT_EQ(StartSequence(kStart, 1).status(), SystemStatus::kInitializing);
    EXPECT_EQ(StatusAfter(7999), SystemStatus::kInitializing);
}

TEST(StartSequence, ThenSearchesTheSky) {
    EXPECT_EQ(StatusAfter(8000), SystemStatus::kSkyscan);
    EXPECT_EQ(StatusAfter(32999), SystemStatus::kSkyscan);
}

TEST(StartSequence, ThenAcquiresTheSatellite) {
    EXPECT_EQ(StatusAfter(33000), SystemStatus::kAcquiring);
    EXPECT_EQ(StatusAfter(44999), SystemStatus::kAcquiring);
}

TEST(StartSequence, ThenIsReadyForGood) {
    EXPECT_EQ(StatusAfter(45000), SystemStatus::kReady);
    EXPECT_EQ(StatusAfter(4000000000), SystemStatus::kReady);
}

TEST(StartSequence, AFactorShortensEveryStep) {
    EXPECT_EQ(StatusAfter(799, 10), SystemStatus::kInitializing);
    EXPECT_EQ(StatusAfter(800, 10), SystemStatus::kSkyscan);
    EXPECT_EQ(StatusAfter(4499, 10), SystemStatus::kAcquiring);
    EXPECT_EQ(StatusAfter(4500, 10), SystemStatus::kReady);
}

TEST(StartSequence, AFactorBelowOneLengthensThem) {
    EXPECT_EQ(StatusAfter(15999, 0.5), SystemStatus::kInitializing);
    EXPECT_EQ(StatusAfter(16000, 0.5), SystemStatus::kSkyscan);
}

TEST(StartSequence, TheLargestFactorIsReadyAtOnce) {
    EXPECT_EQ(StatusAfter(0, 1000000), SystemStatus::kReady);
}

TEST(StartSequence, TellsWhenTheNextStepIsDue) {
    StartSequence sequence(kStart, 1);

    EXPECT_EQ(sequence.time_left_ms(kStart), 8000U);
    EXPECT_EQ(sequence.time_left_ms(kStart + 3000), 5000U);
    EXPECT_EQ(sequence.time_left_ms(kStart + 9000), 0U);
}

TEST(StartSequence, ALateStepDoesNotDelayTheNext) {
    StartSequence sequence(kStart, 1);

    sequence.advance(kStart + 10000);

    EXPECT_EQ(sequence.time_left_ms(kStart + 10000), 23000U);
}

TEST(StartSequence, NothingIsDueOnceItIsReady) {
    StartSequence sequence(kStart, 1);

    sequence.advance(kStart + 45000);

    EXPECT_EQ(sequence.time_left_ms(kStart + 45000), std::nullopt);
}

TEST(StartSequence, GoesOnAcrossTheWrapOfTheClock) {
    StartSequence sequence(0xffffff00, 1);

    sequence.advance(0xffffff00 + 8000U);

    EXPECT_EQ(sequence.status(), SystemStatus::kSkyscan);
    EXPECT_EQ(sequence.time_left_ms(0xffffff00 + 8000U), 25000U);
}
