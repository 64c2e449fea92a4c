// SPDX-License-Identifier: MIT

#include "device/cbusd/Acceptor.h"

#include <cerrno>
#include <string>

#include "BrokerFixture.h"
#include "tests/support/FullDescriptorTable.h"

namespace {

constexpr uint32_t kRetryMs = 10;

class BusDoor : public testing::Test {
  protected:
    UniqueFd Knock() { return UniqueFd(socket_create_client(m_address.c_str())); }
    bool RunUntilAccepted(size_t count) {
        return pump_until(m_base.get(), [&] { return m_accepted.size() == count; });
    }

    CapturedLog m_log;
    std::string m_address = "unix*cbusd-door-" + std::to_string(getpid());
    EventBasePtr m_base{event_base_new()};
    std::vector<UniqueFd> m_accepted;
    Acceptor m_acceptor{m_base.get(), bus_listen(m_address.c_str()), kRetryMs,
                        [this](UniqueFd socket) { m_accepted.push_back(std::move(socket)); }};
};

}  // namespace

TEST_F(BusDoor, ClientsComeNonblockingAndCloseOnExec) {
    const UniqueFd client = Knock();

    ASSERT_TRUE(RunUntilAccepted(1));

    EXPECT_NE(fcntl(m_accepted[0].get(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(m_accepted[0].get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(BusDoor, ACrowdIsLetInWhole) {
    std::vector<UniqueFd> crowd;
    for (int i = 0; i < 200; ++i) {
        crowd.push_back(Knock());
    }

    EXPECT_TRUE(RunUntilAccepted(crowd.size()));
}

TEST_F(BusDoor, WithoutADescriptorItWaitsForOneWithOneLogLine) {
    const UniqueFd client = Knock();
    {
        const FullDescriptorTable full;
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(5 * kRetryMs);
        int turns = 0;
        for (; std::chrono::steady_clock::now() < end; ++turns) {
            event_base_loop(m_base.get(), EVLOOP_ONCE);
        }
        EXPECT_LT(turns, 20);
        EXPECT_TRUE(m_accepted.empty());
    }

    EXPECT_TRUE(RunUntilAccepted(1));
    EXPECT_EQ(m_log.lines(),
              std::vector<std::string>{"4 cbusd: no new clients for now: Too many open files"});
}

TEST(BusListening, IsRefusedForABadAddress) {
    EXPECT_FALSE(bus_listen("carrier*pigeon").valid());
    EXPECT_EQ(errno, EINVAL);
}

TEST(BusListening, IsRefusedForDatagrams) {
    EXPECT_FALSE(bus_listen("udp**0").valid());
}

TEST(BusListening, IsRefusedForAnAddressInUse) {
    const std::string address = "unix*cbusd-busy-" + std::to_string(getpid());
    const UniqueFd first = bus_listen(address.c_str());

    EXPECT_FALSE(bus_listen(address.c_str()).valid());
    EXPECT_EQ(errno, EADDRINUSE);
}

TEST(BusListening, WorksOnTcp) {
    const UniqueFd listener = bus_listen("tcp**0");

    EXPECT_GT(socket_get_port_number(listener.get()), 0);
}
