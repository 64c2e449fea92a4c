// SPDX-License-Identifier: MIT

#include <cmath>
#include <ctime>
#include <memory>

#include "FaultFixture.h"
#include "tests/support/MovedClock.h"

// The wall clock of all programs of the unit is set forward and back while they run. What they wait for is counted on
// the monotonic clock.

namespace {

constexpr int64_t kDay = 86400;

class ClockFaults : public FaultFixture {
  protected:
    void SetUp() override {
        m_clock = std::make_unique<MovedClock>(m_unit.directory());
        FaultFixture::SetUp();
    }
    void TearDown() override {
        FaultFixture::TearDown();
        m_clock.reset();
    }

    // The clock that the API tells is so far from the real one.
    bool IsMoved(int64_t seconds) {
        const JsonPtr status(cJSON_Parse(Request("GET", "/system/status").body.c_str()));
        const double expected = static_cast<double>(std::time(nullptr) + seconds);
        return std::abs(Number(status, {"time"}) - expected) < 600;
    }
    // A new session that subscribes the status: the headers of its requests.
    std::vector<std::string> NewSession() {
        const std::string cookie =
            m_unit.http()
                .request("POST", "/system/subscriptions/system/status", "{}", {"Accept: application/json"})
                .header("Set-Cookie");
        return {"Accept: application/json", "Cookie: " + cookie.substr(0, cookie.find(';'))};
    }
    bool IsAlive(const std::vector<std::string>& session) {
        return m_unit.http().request("GET", "/system/subscriptions/system/status", "", session).status == 200;
    }

    std::unique_ptr<MovedClock> m_clock;
};

TEST_F(ClockFaults, SetForwardOrBackItEndsNoSessionAndNoSubscription) {
    const std::vector<std::string> session = NewSession();
    ASSERT_TRUE(IsAlive(session));
    RpcClient subscriber = m_unit.rpc();
    Subscribe(subscriber, "/example/test", R"({"data_include": "UPDATED"})");

    for (const int64_t seconds : {kDay, -kDay, 40 * kDay, int64_t{0}}) {
        m_clock->set(seconds);
        ASSERT_TRUE(IsMoved(seconds));

        EXPECT_TRUE(IsAlive(session)) << seconds;
        const std::string value = "\"" + std::to_string(seconds) + "\"";
        EXPECT_EQ(Put("/example/test", "{\"a\": " + value + "}"), 200);
        EXPECT_EQ(Told(subscriber), "Updated /example/test {\"a\":" + value + "}");
    }
}

TEST_F(ClockFaults, SetForwardItEndsNoWaiting) {
    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.a", "x"), CONFIG_OK);
    HttpClient long_poll = m_unit.http();
    long_poll.send("GET /activity?channel=fedefe&fromId=0 HTTP/1.1\r\nHost: x\r\n\r\n");
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored("/example/test");

    m_clock->set(kDay);

    // The bus looks for what is overdue once a second.
    EXPECT_FALSE(client.hasArrived(2100));
    m_unit.database().signal(SIGCONT);
    EXPECT_EQ(Received(client), R"(200 {"a":"x","b":null,"c":null})");
    EXPECT_FALSE(long_poll.hasArrived(0));
    ASSERT_EQ(m_unit.http().request("POST", "/publish?channel=fedefe", "{}").status, 200);
    EXPECT_EQ(long_poll.receive().status, 200);
}

}  // namespace
