// SPDX-License-Identifier: MIT

#include "device/cbusd/Monitors.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <string>

#include "BrokerFixture.h"

namespace {

// What a monitor was told of one message.
struct Copied {
    uint32_t from = UINT32_MAX;
    uint32_t to = UINT32_MAX;
    uint64_t time_us = 0;
    std::string bytes;  // of the message as it was on the wire
};

class BusMonitor : public BrokerFixture {
  protected:
    static BrokerOptions SmallMonitors() {
        BrokerOptions options;
        options.monitors = {size_t{1} << 20, size_t{64} << 10};
        return options;
    }
    BusMonitor() : BrokerFixture(SmallMonitors()) {
        Monitor(m_monitor);
        Provide(m_provider, "config");
        // What was told, and the question that ended Provide() with its answer.
        ReceiveCopies(3);
    }

    void ReceiveCopies(int count) {
        for (int i = 0; i < count; ++i) {
            ReceiveCopy();
        }
    }

    void Monitor(BusPeer& peer) {
        peer.Send(WireMessage{1, 0, 0, 0, "cbus.monitor", ""});
        // Its own question is copied to it already; the reply stands before the copies or between them.
        peer.Send(WireMessage{2, 0, 0, 0, "nobody", ""});
        EXPECT_TRUE(m_broker->client_count() > 0 && ReceiveUntilReply(peer));
    }
    bool ReceiveUntilReply(BusPeer& peer) {
        int copies = 0, replies = 0;
        while (copies < 2 || replies < 1) {
            const int type = Receive(peer).type;
            copies += type == 1 ? 1 : 0;
            replies += type == 3 ? 1 : 0;
            if (type == 0) {
                return false;
            }
        }
        return true;
    }
    Copied ReceiveCopy() {
        const WireMessage message = Receive(m_monitor);
        EXPECT_EQ(message.name, "cbus.monitor");
        EXPECT_EQ(message.type, 1);
        Copied copied;
        if (message.data.size() < 16) {
            ADD_FAILURE() << "no copy";
            return copied;
        }
        memcpy(&copied.from, message.data.data(), 4);
        memcpy(&copied.to, message.data.data() + 4, 4);
        memcpy(&copied.time_us, message.data.data() + 8, 8);
        copied.bytes = message.data.substr(16);
        return copied;
    }
    void ExpectCopy(uint32_t from, uint32_t to, const WireMessage& message) {
        const Copied copied = ReceiveCopy();
        EXPECT_EQ(copied.from, from);
        EXPECT_EQ(copied.to, to);
        EXPECT_EQ(copied.bytes, Bytes(message));
    }

    BusPeer m_monitor = Connect();   // 1
    BusPeer m_provider = Connect();  // 2
    BusPeer m_client = Connect();    // 3
};

const WireMessage kSignal{1, 5, 6, 7, "change", "abc"};

}  // namespace

TEST_F(BusMonitor, GetsOneCopyOfASignalForEachReceiver) {
    BusPeer fourth = Connect();
    for (BusPeer* peer : {&m_provider, &fourth}) {
        Filter(*peer, "change");
        ReceiveCopies(3);
    }

    m_client.Send(kSignal);

    ExpectCopy(3, 2, kSignal);
    ExpectCopy(3, 4, kSignal);
}

TEST_F(BusMonitor, GetsASignalThatNobodyReceivesAsOneToTheBroker) {
    m_client.Send(kSignal);

    ExpectCopy(3, kBrokerId, kSignal);
}

TEST_F(BusMonitor, GetsWhatClientsTellTheBroker) {
    const WireMessage filter{1, 0, 0, 0, "cbus.filter", std::string("change\0", 7)};
    m_client.Send(filter);

    ExpectCopy(3, kBrokerId, filter);
}

TEST_F(BusMonitor, GetsAReplyThatNobodyWaitsForAsOneToTheBroker) {
    const WireMessage late{3, 1, 2, 77, "config.read", "value"};
    m_provider.Send(late);

    ExpectCopy(2, kBrokerId, late);
}

TEST_F(BusMonitor, GetsARequestAndItsReplyAsTheyAreDelivered) {
    m_client.Send(WireMessage{2, 1, 2, 3, "config.read", "key"});
    const WireMessage request = Receive(m_provider);
    m_provider.Send(WireMessage{3, 1, 2, request.reserved, "config.read", "value"});

    ExpectCopy(3, 2, request);
    ExpectCopy(2, 3, {3, 1, 2, 3, "config.read", "value"});
    EXPECT_EQ(Receive(m_client).data, "value");
}

TEST_F(BusMonitor, GetsARequestThatTheBrokerAnswersAndTheAnswer) {
    m_client.Send(WireMessage{2, 1, 2, 3, "nobody", "key"});

    ExpectCopy(3, 0, {2, 1, 2, 3, "nobody", "key"});
    ExpectCopy(0, 3, {3, 1, 2, 3, "nobody", ""});
}

TEST_F(BusMonitor, GetsTheTimeOfDayOfEachMessage) {
    using namespace std::chrono;
    const auto now_us = [] {
        return static_cast<uint64_t>(
            duration_cast<microseconds>(system_clock::now().time_since_epoch()).count());
    };
    const uint64_t before = now_us();

    m_client.Send(WireMessage{2, 1, 2, 3, "nobody", ""});

    const Copied copied = ReceiveCopy();
    EXPECT_GE(copied.time_us, before);
    EXPECT_LE(copied.time_us, now_us());
}

TEST_F(BusMonitor, GetsNoCopiesOfCopies) {
    BusPeer second = Connect();
    Monitor(second);
    ReceiveCopies(3);

    m_client.Send(WireMessage{2, 1, 2, 3, "nobody", ""});
    EXPECT_EQ(ReceiveCopy().from, 3u);
    EXPECT_EQ(ReceiveCopy().to, 3u);
    Settle(m_provider);

    EXPECT_EQ(ReceiveCopy().from, 2u);
}

TEST_F(BusMonitor, SeesTheLargestMessage) {
    Filter(m_client, "big");
    ReceiveCopies(3);
    const WireMessage big{1, 0, 0, 0, "big", std::string((size_t{8} << 20) - 16, 'b')};
    const std::string bytes = Bytes(big);
    ASSERT_EQ(bytes.size(), size_t{8} << 20);
    for (const BusPeer* peer : {&m_provider, &m_monitor, &m_client}) {
        socket_set_blocking(peer->fd(), false);
    }
    size_t sent = 0, taken = 0;
    std::string copied;

    EXPECT_TRUE(RunUntil([&] {
        const ssize_t n = send(m_provider.fd(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        sent += n > 0 ? static_cast<size_t>(n) : 0;
        taken += m_client.ReceiveBytes(1 << 20).size();
        copied += m_monitor.ReceiveBytes(1 << 20);
        return copied.size() >= bytes.size() + 44 && taken == bytes.size();
    }));

    EXPECT_TRUE(copied.substr(44) == bytes);
}

TEST_F(BusMonitor, ThatIsSlowDoesNotSlowTheBusAndIsToldWhatItMissed) {
    Filter(m_client, "s");
    ReceiveCopies(3);
    constexpr int kCount = 500;
    for (int i = 0; i < kCount; ++i) {
        m_provider.Send(WireMessage{1, 0, i, 0, "s", std::string(10'000, 'd')});
        ASSERT_EQ(Receive(m_client).seqn, i);
    }

    int copies = 0;
    Copied copied = ReceiveCopy();
    for (; copied.from == 2; copied = ReceiveCopy()) {
        ++copies;
    }

    uint32_t lost = 0;
    EXPECT_EQ(copied.from, kBrokerId);
    EXPECT_EQ(copied.to, kBrokerId);
    ASSERT_EQ(copied.bytes.size(), 12u + 20 + 4);
    EXPECT_STREQ(copied.bytes.c_str() + 12, "cbus.monitor.lost");
    memcpy(&lost, copied.bytes.data() + 32, 4);
    EXPECT_EQ(copies + static_cast<int>(lost), kCount);
    EXPECT_LT(copies, 200);
}

TEST_F(BusMonitor, GetsCopiesAgainAfterItHasCaughtUp) {
    Filter(m_client, "s");
    ReceiveCopies(3);
    for (int i = 0; i < 200; ++i) {
        m_provider.Send(WireMessage{1, 0, i, 0, "s", std::string(10'000, 'd')});
        ASSERT_EQ(Receive(m_client).seqn, i);
    }
    while (ReceiveCopy().from != kBrokerId) {
    }

    Settle(m_client);

    EXPECT_EQ(ReceiveCopy().from, 3u);
}

TEST_F(BusMonitor, ThatHasGoneIsForgotten) {
    m_monitor.Hang();
    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 2; }));

    Settle(m_client);
}

TEST_F(BusMonitor, IsNotMadeOfAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    AccessList access(geteuid());
    ASSERT_TRUE(access.allow_user("nobody"));
    const std::string address = m_address + "-open";
    Broker open(m_base.get(), bus_listen(address.c_str()), access, BrokerOptions{});
    ASSERT_EQ(seteuid(65534), 0);
    BusPeer peer(UniqueFd(socket_create_client(address.c_str())));
    ASSERT_EQ(seteuid(0), 0);

    peer.Send(WireMessage{1, 0, 0, 0, "cbus.monitor", ""});
    peer.Send(WireMessage{1, 0, 0, 0, "cbus.monitor", ""});

    Settle(peer);
    EXPECT_FALSE(peer.IsReadable());
    EXPECT_EQ(m_log.lines(),
              std::vector<std::string>{"4 cbusd: client 1 (pid " + std::to_string(getpid()) +
                                       ", user nobody, program unit_cbusd) may not monitor the bus"});
}
