// SPDX-License-Identifier: MIT

#include "device/terminald/ResetButton.h"

#include <gtest/gtest.h>

TEST(ResetButton, HasNeverBeenPressedAtFirst) {
    const ResetButton button;

    EXPECT_EQ(button.status(), ButtonStatus::kDefault);
    EXPECT_EQ(button.seconds(), 0);
    EXPECT_EQ(button.time_left_ms(1000), std::nullopt);
}

TEST(ResetButton, IsPressedForNoSecondsAtFirst) {
    ResetButton button;

    button.press(1000);

    EXPECT_EQ(button.status(), ButtonStatus::kPressed);
    EXPECT_EQ(button.seconds(), 0);
}

TEST(ResetButton, CountsFullSecondsWhileItIsHeld) {
    ResetButton button;
    button.press(1000);

    button.advance(1999);
    EXPECT_EQ(button.seconds(), 0);
    button.advance(2000);
    EXPECT_EQ(button.seconds(), 1);
    button.advance(13999);
    EXPECT_EQ(button.seconds(), 12);
}

TEST(ResetButton, TellsWhenTheNextSecondIsFull) {
    ResetButton button;
    button.press(1000);

    EXPECT_EQ(button.time_left_ms(1000), 1000U);
    EXPECT_EQ(button.time_left_ms(1400), 600U);
    EXPECT_EQ(button.time_left_ms(3001), 999U);
}

TEST(ResetButton, KeepsTheSecondsOfItsPressOnceItIsReleased) {
    ResetButton button;
    button.press(1000);

    button.release(6500);
    button.advance(60000);

    EXPECT_EQ(button.status(), ButtonStatus::kReleased);
    EXPECT_EQ(button.seconds(), 5);
    EXPECT_EQ(button.time_left_ms(60000), std::nullopt);
}

TEST(ResetButton, ANewPressCountsFromTheBeginning) {
    ResetButton button;
    button.press(1000);
    button.release(6000);

    button.press(7000);
    EXPECT_EQ(button.seconds(), 0);
    button.advance(9000);

    EXPECT_EQ(button.status(), ButtonStatus::kPressed);
    EXPECT_EQ(button.seconds(), 2);
}

TEST(ResetButton, ASecondPressWithoutAReleaseIsTheSamePress) {
    ResetButton button;
    button.press(1000);

    button.press(3000);
    button.advance(4000);

    EXPECT_EQ(button.seconds(), 3);
}

TEST(ResetButton, AReleaseWithoutAPressIsNone) {
    ResetButton button;

    button.release(1000);

    EXPECT_EQ(button.status(), ButtonStatus::kDefault);
}

TEST(ResetButton, ASecondReleaseChangesNothing) {
    ResetButton button;
    button.press(1000);
    button.release(3000);

    button.release(9000);

    EXPECT_EQ(button.status(), ButtonStatus::kReleased);
    EXPECT_EQ(button.seconds(), 2);
}

TEST(ResetButton, CountsAcrossTheWrapOfTheClock) {
    ResetButton button;
    button.press(0xffffff00);

    button.advance(0xffffff00 + 3000U);

    EXPECT_EQ(button.seconds(), 3);
}
