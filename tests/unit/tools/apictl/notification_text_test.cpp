// SPDX-License-Identifier: MIT

#include "tools/apictl/notification_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "src/base/owners.h"

namespace {

// A zone without daylight saving, two hours east.
class NotificationText : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "EET-2", 1);
        tzset();
    }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
    static std::string Of(const char* message, unsigned milliseconds = 42) {
        const JsonPtr json(cJSON_Parse(message));
        return notification_text(*json, 1763733785000000U + milliseconds * 1000U, Paint());
    }
};

}  // namespace

TEST_F(NotificationText, IsTimeKindPathAndData) {
    EXPECT_EQ(Of(R"({"method": "Updated", "params": {"path": "/example/test", "data": {"a": "hello"}}})"),
              R"(2025-11-21T16:03:05.042 Updated /example/test {"a":"hello"})");
}

TEST_F(NotificationText, FillsTheMillisecondsWithZeros) {
    EXPECT_EQ(Of(R"({"method": "Created", "params": {"path": "/a"}})", 0),
              "2025-11-21T16:03:05.000 Created /a");
}

TEST_F(NotificationText, EndsWithThePathWhenThereIsNoData) {
    EXPECT_EQ(Of(R"({"method": "Deleted", "params": {"path": "/a"}})"), "2025-11-21T16:03:05.042 Deleted /a");
}

TEST_F(NotificationText, ShowsDataOfNull) {
    EXPECT_EQ(Of(R"({"method": "Updated", "params": {"path": "/a", "data": null}})"),
              "2025-11-21T16:03:05.042 Updated /a null");
}

TEST_F(NotificationText, IsOneLineWhateverIsInIt) {
    EXPECT_EQ(Of(R"({"method": "U\n", "params": {"path": "/\u001b[2J\n", "data": "\n\u009b"}})"),
              R"(2025-11-21T16:03:05.042 U\u000a /\u001b[2J\u000a "\n\u009b")");
}

TEST_F(NotificationText, IsEmptyWithoutAKindOrAPath) {
    EXPECT_EQ(Of(R"({"params": {"path": "/a"}})"), "");
    EXPECT_EQ(Of(R"({"method": "Updated"})"), "");
    EXPECT_EQ(Of(R"({"method": "Updated", "params": {}})"), "");
    EXPECT_EQ(Of(R"({"method": "Updated", "params": {"path": 1}})"), "");
    EXPECT_EQ(Of(R"({"method": "Updated", "params": ["/a"]})"), "");
}

TEST_F(NotificationText, ColoursTheKindForATerminal) {
    const JsonPtr json(cJSON_Parse(R"({"method": "Deleted", "params": {"path": "/a"}})"));

    EXPECT_EQ(notification_text(*json, 1763733785042000, Paint(true)),
              "2025-11-21T16:03:05.042 \x1b[31mDeleted\x1b[0m /a");
}

TEST_F(NotificationText, IsAnObjectAsJson) {
    const JsonPtr json(cJSON_Parse(R"({"method": "Updated", "params": {"path": "/a", "data": {"b": 1}}})"));

    EXPECT_EQ(notification_json(*json, 1763733785042000),
              R"({"time":"2025-11-21T16:03:05.042","event":"Updated","path":"/a","data":{"b":1}})");
}

TEST_F(NotificationText, IsNothingAsJsonOfWhatIsNoNotification) {
    const JsonPtr json(cJSON_Parse(R"({"method": "Updated"})"));

    EXPECT_EQ(notification_json(*json, 0), "");
}
