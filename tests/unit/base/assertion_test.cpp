// SPDX-License-Identifier: MIT

#include "src/base/assertion.h"

#include <gtest/gtest.h>

TEST(Assertion, LetsATrueConditionPass) {
    int evaluations = 0;

    ORVALE_ASSERT(++evaluations == 1, "++evaluations == 1", "src/test", "void f()");

    EXPECT_EQ(evaluations, 1);
}

TEST(AssertionDeathTest, EndsTheProcessWithTheGivenNames) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_DEATH(ORVALE_ASSERT(false, "m_port != __null", "src/HabConfig", "void f()"),
                 "src/HabConfig:[0-9]+: void f\\(\\): Assertion `m_port != __null' failed");
}
