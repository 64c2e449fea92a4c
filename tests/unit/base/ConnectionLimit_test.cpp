// SPDX-License-Identifier: MIT

#include "src/base/ConnectionLimit.h"

#include <gtest/gtest.h>

#include "tests/support/CapturedLog.h"

TEST(ConnectionLimit, NamesThePeersWithMostConnections) {
    const CapturedLog log;
    ConnectionLimit limit("src/x", 4);

    limit.refused([] { return std::vector<std::string>{"b", "a", "b", "b"}; });

    EXPECT_TRUE(log.has("4 src/x: 1 connections refused, as 4 may be open. Most of them: b (3), a (1)\n"));
}

TEST(ConnectionLimit, WritesOneLineForManyConnections) {
    const CapturedLog log;
    ConnectionLimit limit("src/x", 1);
    int asked = 0;

    for (int i = 0; i < 1000; ++i) {
        limit.refused([&asked] {
            ++asked;
            return std::vector<std::string>{"a"};
        });
    }

    EXPECT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(asked, 1);
}

TEST(BusiestText, IsEmptyForNobody) {
    EXPECT_EQ(busiest_text({}), "");
}

TEST(BusiestText, NamesThreeAtMost) {
    EXPECT_EQ(busiest_text({"d", "c", "c", "b", "a", "a"}), "a (2), c (2), b (1)");
}
