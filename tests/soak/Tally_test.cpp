// SPDX-License-Identifier: MIT

#include "Tally.h"

#include "gtest/gtest.h"

TEST(Tally, IsCleanWhileEveryAnswerIsTheExpectedOne) {
    Tally tally;

    EXPECT_TRUE(tally.check("read", "200", "200"));

    EXPECT_TRUE(tally.isClean());
    EXPECT_EQ(tally.requests(), 1);
}

TEST(Tally, CountsAnAnswerThatIsAnother) {
    Tally tally;

    EXPECT_FALSE(tally.check("read", "200", "500"));

    EXPECT_FALSE(tally.isClean());
    EXPECT_EQ(tally.requests(), 1);
}

TEST(Tally, IsNotCleanAfterALoss) {
    Tally tally;

    tally.countLost("told", 1, "nothing came");

    EXPECT_FALSE(tally.isClean());
}

TEST(Tally, IsNotCleanAfterADoubledNotification) {
    Tally tally;

    tally.countDoubled("told", "1 after 1");

    EXPECT_FALSE(tally.isClean());
}
