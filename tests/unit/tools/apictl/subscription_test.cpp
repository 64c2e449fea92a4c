// SPDX-License-Identifier: MIT

#include "tools/apictl/subscription.h"

#include <gtest/gtest.h>

TEST(SubscriptionPath, StandsBelowTheApiOfTheResource) {
    EXPECT_EQ(subscription_path("/system/info"), "/system/subscriptions/system/info");
    EXPECT_EQ(subscription_path("/example/test/static/x"), "/example/subscriptions/example/test/static/x");
}

TEST(SubscriptionPath, OfAWholeApiIsThatOfItsRoot) {
    EXPECT_EQ(subscription_path("/system"), "/system/subscriptions/system");
    EXPECT_EQ(subscription_path("/system/"), "/system/subscriptions/system/");
}

TEST(SubscriptionPath, TakesDoubledSlashesInFront) {
    EXPECT_EQ(subscription_path("//system//info"), "/system/subscriptions/system//info");
}

TEST(SubscriptionApi, IsTheFirstNameOfAPath) {
    EXPECT_EQ(subscription_api("/example/test"), "/example");
    EXPECT_EQ(subscription_api("/example"), "/example");
    EXPECT_EQ(subscription_api("//example/"), "/example");
}
