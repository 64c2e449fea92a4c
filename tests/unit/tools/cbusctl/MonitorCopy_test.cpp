// SPDX-License-Identifier: MIT

#include "tools/cbusctl/MonitorCopy.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "MonitorBytes.h"
#include "tools/cbusctl/monitor_text.h"

namespace {

using namespace std::string_literals;

constexpr uint64_t kTime = 1763733785000042;

class MonitorText : public testing::Test {
  protected:
    void SetUp() override {
        setenv("TZ", "EET-2", 1);
        tzset();
        m_clients.clients.resize(1);
        m_clients.clients[0].id = 2;
        m_clients.clients[0].program = "configd";
    }
    void TearDown() override {
        unsetenv("TZ");
        tzset();
    }
    std::string Of(const WireMessage& message, DataForm form = DataForm::kAuto) {
        m_bytes = MonitorBytes(5, 2, kTime, message);
        return monitor_text(monitor_copy_parse(m_bytes).value(), m_clients, form, Paint());
    }
    std::string JsonOf(const WireMessage& message, DataForm form = DataForm::kAuto) {
        m_bytes = MonitorBytes(5, 2, kTime, message);
        return monitor_json(monitor_copy_parse(m_bytes).value(), form);
    }

    BusStatus m_clients;
    std::string m_bytes;
};

}  // namespace

TEST(MonitorCopy, IsTakenApart) {
    const std::string bytes = MonitorBytes(5, 2, kTime, {2, 7, 1, 0, "ping", "abc"});

    const auto copy = monitor_copy_parse(bytes);

    ASSERT_TRUE(copy.has_value());
    EXPECT_EQ(copy->from, 5U);
    EXPECT_EQ(copy->to, 2U);
    EXPECT_EQ(copy->time_us, kTime);
    EXPECT_EQ(copy->type, 2);
    EXPECT_EQ(copy->name, "ping");
    EXPECT_EQ(copy->data, "abc");
}

TEST(MonitorCopy, MayHaveNeitherNameNorData) {
    const std::string bytes = MonitorBytes(0, 0, 0, {1, 0, 0, 0, "", ""});

    const auto copy = monitor_copy_parse(bytes);

    ASSERT_TRUE(copy.has_value());
    EXPECT_EQ(copy->name, "");
    EXPECT_EQ(copy->data, "");
}

TEST(MonitorCopy, IsNothingWhenBytesAreMissingOrTooMany) {
    const std::string bytes = MonitorBytes(5, 2, kTime, {2, 7, 1, 0, "ping", "abc"});
    for (size_t length = 0; length < bytes.size(); ++length) {
        EXPECT_EQ(monitor_copy_parse(bytes.substr(0, length)), std::nullopt) << length;
    }
    EXPECT_EQ(monitor_copy_parse(bytes + '\0'), std::nullopt);
}

TEST(MonitorCopy, IsNothingForAHeaderThatAnnouncesGigabytes) {
    const std::string header = HeaderBytes({1, 0, 0, 0, 65535, 0xFFFFFFFF});

    EXPECT_EQ(monitor_copy_parse(std::string(16, '\0') + header), std::nullopt);
}

TEST(MonitorCopy, HasNoMoreThanItsNameWithoutANul) {
    const std::string header = HeaderBytes({1, 0, 0, 0, 4, 4});
    const std::string bytes = std::string(16, '\0') + header + "nameDATA";

    const auto copy = monitor_copy_parse(bytes);

    ASSERT_TRUE(copy.has_value());
    EXPECT_EQ(copy->name, "name");
    EXPECT_EQ(copy->data, "DATA");
}

TEST(MonitorCopyLost, IsTheCountOfTheBrokersOwnSignal) {
    const WireMessage lost{1, 0, 0, 0, "cbus.monitor.lost", NumberBytes(uint32_t{7})};
    const std::string own = MonitorBytes(0, 0, kTime, lost);
    const std::string forged = MonitorBytes(5, 0, kTime, lost);
    const std::string cut = MonitorBytes(0, 0, kTime, {1, 0, 0, 0, "cbus.monitor.lost", "abc"});

    EXPECT_EQ(monitor_copy_lost(monitor_copy_parse(own).value()), 7U);
    EXPECT_EQ(monitor_copy_lost(monitor_copy_parse(forged).value()), std::nullopt);
    EXPECT_EQ(monitor_copy_lost(monitor_copy_parse(cut).value()), std::nullopt);
}

TEST_F(MonitorText, IsTimeKindWhoToWhomNameAndSize) {
    EXPECT_EQ(Of({2, 7, 1, 0, "ping", "abc"}), "2025-11-21T16:03:05.000042 request 5 > configd/2 ping 3");
    EXPECT_EQ(Of({3, 7, 1, 0, "ping", ""}), "2025-11-21T16:03:05.000042 reply 5 > configd/2 ping 0");
    EXPECT_EQ(Of({1, 7, 1, 0, "", ""}), "2025-11-21T16:03:05.000042 signal 5 > configd/2 - 0");
}

TEST_F(MonitorText, EndsWithTheDataAsHexTextWhenAskedTo) {
    EXPECT_EQ(Of({1, 7, 1, 0, "ping", "a\x1b"}, DataForm::kHex),
              "2025-11-21T16:03:05.000042 signal 5 > configd/2 ping 2 611b");
}

TEST_F(MonitorText, DecodesTheMessagesOfTheDatabase) {
    const std::string change = EntryBytes(2, 0, "cfg.a", "hello\0"s);

    EXPECT_EQ(Of({1, 7, 1, 0, "config.change.cfg", change}),
              "2025-11-21T16:03:05.000042 signal 5 > configd/2 config.change.cfg 28 cfg.a = hello");
}

TEST_F(MonitorText, ShowsNoEscapeOfATerminal) {
    m_clients.clients[0].program = "\x1b[2J";

    EXPECT_EQ(Of({1, 7, 1, 0, "a\x1b", ""}), "2025-11-21T16:03:05.000042 signal 5 > \\u001b[2J/2 a\\u001b 0");
}

TEST_F(MonitorText, IsAnObjectAsJson) {
    EXPECT_EQ(
        JsonOf({2, 7, 1, 0, "ping", "abc"}, DataForm::kHex),
        R"({"time":"2025-11-21T16:03:05.000042","kind":"request","from":5,"to":2,"name":"ping","size":3,)"
        R"("hex":"616263"})");
    EXPECT_EQ(
        JsonOf({1, 7, 1, 0, "config.change.cfg", EntryBytes(0, 0, "cfg.a", "")}),
        R"({"time":"2025-11-21T16:03:05.000042","kind":"signal","from":5,"to":2,"name":"config.change.cfg",)"
        R"("size":20,"config":{"entries":[{"key":"cfg.a","type":"none","status":0}]}})");
}

TEST_F(MonitorText, TellsOfLostMessages) {
    m_bytes = MonitorBytes(0, 0, kTime, {1, 0, 0, 0, "cbus.monitor.lost", NumberBytes(uint32_t{7})});
    const auto copy = monitor_copy_parse(m_bytes).value();

    EXPECT_EQ(monitor_lost_text(copy, 7, Paint()), "2025-11-21T16:03:05.000042 lost 7 messages");
    EXPECT_EQ(monitor_lost_json(copy, 7), R"({"time":"2025-11-21T16:03:05.000042","kind":"lost","count":7})");
}
