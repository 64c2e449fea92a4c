// SPDX-License-Identifier: MIT

#include "tools/configctl/ChangeWatch.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <ctime>

namespace {

using testing::ElementsAre;

constexpr uint64_t kTime = 1763733785042000;

class ChangeText : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "EET-2", 1);
        tzset();
    }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }

    char m_hello[6] = "hello";
    config_data_t m_text{CONFIG_TYPE_STRING, "cfg.a", m_hello, 6, 6, 0};
    config_data_t m_deleted{CONFIG_TYPE_NONE, "cfg.a", nullptr, 0, 0, 0};
};

}  // namespace

TEST_F(ChangeText, IsTimeKeyAndValue) {
    EXPECT_EQ(change_text(m_text, kTime, Paint()), "2025-11-21T16:03:05.042 cfg.a = hello");
}

TEST_F(ChangeText, OfADeletedKeySaysSo) {
    EXPECT_EQ(change_text(m_deleted, kTime, Paint()), "2025-11-21T16:03:05.042 cfg.a deleted");
}

TEST_F(ChangeText, ShowsNoEscapeOfATerminal) {
    config_data_t hostile{CONFIG_TYPE_STRING, "cfg.\x1b[2J", m_hello, 6, 6, 0};
    m_hello[0] = '\x1b';

    EXPECT_EQ(change_text(hostile, kTime, Paint()), "2025-11-21T16:03:05.042 cfg.\\u001b[2J = \\u001bello");
}

TEST_F(ChangeText, IsAnObjectAsJson) {
    EXPECT_EQ(change_json(m_text, kTime),
              R"({"time":"2025-11-21T16:03:05.042","key":"cfg.a","value":"hello"})");
    EXPECT_EQ(change_json(m_deleted, kTime),
              R"({"time":"2025-11-21T16:03:05.042","key":"cfg.a","value":null})");
}

TEST(ChangePrefixes, LoseThoseThatAnotherOneCovers) {
    EXPECT_THAT(change_prefixes({"cfg.a.", "ram", "cfg.", "cfg.b", "cfg."}), ElementsAre("ram", "cfg."));
    EXPECT_THAT(change_prefixes({"cfg.a", ""}), ElementsAre(""));
}
