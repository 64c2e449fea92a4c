// SPDX-License-Identifier: MIT

#include "device/cbusd/ClientConnection.h"

#include <string>

#include "BrokerFixture.h"

namespace {

class BusPeerBehaviour : public BrokerFixture {
  protected:
    // What the broker does with a client that sends these bytes, while another one is there.
    void ExpectRefused(const std::string& bytes) {
        BusPeer bystander = Connect();
        BusPeer offender = Connect();

        offender.Send(bytes);

        EXPECT_TRUE(IsDisconnected(offender));
        Settle(bystander);
        EXPECT_EQ(m_log.lines(),
                  std::vector<std::string>{"4 cbusd: " + Named(2) + " disconnected: malformed message"});
    }
};

}  // namespace

TEST_F(BusPeerBehaviour, AnUnknownTypeCostsTheConnection) {
    ExpectRefused(HeaderBytes({4, 0, 0, 0, 0, 0}));
}

TEST_F(BusPeerBehaviour, TypeZeroCostsTheConnection) {
    ExpectRefused(std::string(12, '\0'));
}

TEST_F(BusPeerBehaviour, AMessageOverEightMebibytesCostsTheConnection) {
    ExpectRefused(HeaderBytes({1, 0, 0, 0, 0, 8 << 20}));
}

TEST_F(BusPeerBehaviour, ALengthNearFourGibibytesCostsTheConnection) {
    ExpectRefused(HeaderBytes({1, 0, 0, 0, 5, UINT32_MAX}));
}

TEST_F(BusPeerBehaviour, ANameWithoutItsNulCostsTheConnection) {
    ExpectRefused(HeaderBytes({1, 0, 0, 0, 4, 0}) + "abcd");
}

TEST_F(BusPeerBehaviour, NothingBehindAMalformedMessageIsHandled) {
    BusPeer listener = Connect();
    BusPeer offender = Connect();
    Filter(listener, "");
    const WireMessage before{1, 0, 0, 0, "before", ""};

    offender.Send(Bytes(before) + HeaderBytes({9, 0, 0, 0, 0, 0}) + Bytes({1, 0, 0, 0, "behind", ""}));

    EXPECT_EQ(Receive(listener), before);
    EXPECT_TRUE(IsDisconnected(offender));
    Settle(listener);
}

TEST_F(BusPeerBehaviour, GarbageInThePaddingIsTolerated) {
    BusPeer peer = Connect();

    peer.Send(HeaderBytes({2, 0, 1, 0, 2, 1}) + std::string("a\0xxdyyy", 8));

    EXPECT_EQ(Receive(peer), (WireMessage{3, 0, 1, 0, "a", ""}));
}

TEST_F(BusPeerBehaviour, AMessageMayComeByteByByte) {
    BusPeer peer = Connect();

    for (const char byte : Bytes({2, 0, 1, 0, "slow", "data"})) {
        peer.Send(std::string(1, byte));
        event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
    }

    EXPECT_EQ(Receive(peer), (WireMessage{3, 0, 1, 0, "slow", ""}));
}

TEST_F(BusPeerBehaviour, WhoGoesInTheMiddleOfAMessageIsForgottenWithoutALogLine) {
    BusPeer peer = Connect();

    peer.Send(Bytes({2, 0, 1, 0, "half", "data"}).substr(0, 17));
    peer.Hang();

    EXPECT_TRUE(RunUntil([&] { return m_broker->client_count() == 0; }));
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{});
}

TEST_F(BusPeerBehaviour, WhatAClientDoesNotTakeYetWaitsForItInOrder) {
    BusPeer slow = Connect();
    BusPeer sender = Connect();
    Filter(slow, "s");

    for (int i = 0; i < 700; ++i) {
        sender.Send(WireMessage{1, 0, i, 0, "s", std::string(1000, 'd')});
        event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
    }
    Settle(sender);

    for (int i = 0; i < 700; ++i) {
        ASSERT_EQ(Receive(slow).seqn, i);
    }
}

TEST_F(BusPeerBehaviour, TooLongAFilterCostsTheConnection) {
    BusPeer peer = Connect();

    peer.Send(WireMessage{1, 0, 0, 0, "cbus.filter", std::string(NameTable::kMaxTextBytes + 1, 'f')});

    EXPECT_TRUE(IsDisconnected(peer));
    EXPECT_EQ(m_log.lines().size(), 1u);
}

TEST_F(BusPeerBehaviour, TooLongAProvidedNameCostsTheConnection) {
    BusPeer peer = Connect();

    peer.Send(WireMessage{1, 0, 0, 0, "cbus.provide", std::string(NameTable::kMaxTextBytes + 1, 'p')});

    EXPECT_TRUE(IsDisconnected(peer));
    EXPECT_EQ(m_log.lines().size(), 1u);
}
