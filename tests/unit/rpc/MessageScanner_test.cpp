// SPDX-License-Identifier: MIT

#include "src/rpc/MessageScanner.h"

#include <gtest/gtest.h>

TEST(MessageScanner, FindsNoEndInNothing) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd(""), 0U);
}

TEST(MessageScanner, EndsAMessageWhereItsBracesBalance) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd(R"({"a":{"b":1}} )"), 13U);
}

TEST(MessageScanner, FindsNoEndInAnUnfinishedMessage) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd(R"({"a":{"b":1})"), 0U);
}

TEST(MessageScanner, GoesOnWhereItStoppedWhenMoreBytesHaveCome) {
    MessageScanner scanner;

    const size_t first = scanner.findEnd(R"({"a":)");
    const size_t second = scanner.findEnd(R"({"a":{}})");

    EXPECT_EQ(first, 0U);
    EXPECT_EQ(second, 8U);
}

TEST(MessageScanner, CountsBracesInsideStrings) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd(R"({"a":"}"})"), 7U);
}

TEST(MessageScanner, FindsNoEndInClosingBracesAlone) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd("}}}}"), 0U);
}

TEST(MessageScanner, BalancesAClosingBraceThatCameFirst) {
    MessageScanner scanner;

    EXPECT_EQ(scanner.findEnd("}{ {}"), 2U);
}

TEST(MessageScanner, CountsTheEndOfASecondMessageFromTheStartOfTheBytes) {
    MessageScanner scanner;

    const size_t first = scanner.findEnd("{}{{}}");
    const size_t second = scanner.findEnd("{}{{}}");
    const size_t third = scanner.findEnd("{}{{}}");

    EXPECT_EQ(first, 2U);
    EXPECT_EQ(second, 6U);
    EXPECT_EQ(third, 0U);
}

TEST(MessageScanner, ForgetsAnUnfinishedMessageWhenRestarted) {
    MessageScanner scanner;
    ASSERT_EQ(scanner.findEnd("{{"), 0U);

    scanner.restart();

    EXPECT_EQ(scanner.findEnd("{}"), 2U);
}
