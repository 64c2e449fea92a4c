// SPDX-License-Identifier: MIT

#include "cbus/cbus_sock_impl.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "tests/support/BusPeer.h"

namespace {

class BusSocket : public testing::Test {
  protected:
    BusSocket() {
        int pair[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
        m_own = UniqueFd(pair[0]);
        m_peer = BusPeer(UniqueFd(pair[1]));
    }

    int Write(const cbus_header_t& header, const char* name, const std::string& data) {
        return cbus_msg_write(m_own.get(), header, name, data.data(), static_cast<uint32_t>(data.size()));
    }
    int Read() { return cbus_msg_read(m_own.get(), m_message); }

    UniqueFd m_own;
    BusPeer m_peer;
    cbus_rx_message_t m_message;
};

constexpr cbus_header_t kRequest{CBUS_REQUEST, 7, 0x0102, 0x0304, 0, 0};

}  // namespace

TEST_F(BusSocket, WritesHeaderNameAndDataPaddedWithZeros) {
    ASSERT_EQ(Write(kRequest, "ping", "abc"), 0);
    m_own.reset();

    const std::string expected = HeaderBytes({2, 7, 0x0102, 0x0304, 5, 3}) + std::string(
                                                                                 "ping\0\0\0\0"
                                                                                 "abc\0",
                                                                                 12);
    EXPECT_EQ(expected.size(), 24u);
    EXPECT_EQ(m_peer.ReceiveBytes(100), expected);
}

TEST_F(BusSocket, WritesABareHeaderWithoutNameAndData) {
    ASSERT_EQ(cbus_msg_write(m_own.get(), {CBUS_SIGNAL, 7, 1, 0, 9, 9}, nullptr, nullptr, 5), 0);
    m_own.reset();

    EXPECT_EQ(m_peer.ReceiveBytes(100), HeaderBytes({1, 7, 1, 0, 0, 0}));
}

TEST_F(BusSocket, WritesTheLongestName) {
    const std::string name(65534, 'n');
    std::thread writer([&] { EXPECT_EQ(Write(kRequest, name.c_str(), ""), 0); });

    EXPECT_EQ(m_peer.Receive().name, name);
    writer.join();
}

TEST_F(BusSocket, RefusesALongerNameAndSendsNothing) {
    EXPECT_EQ(Write(kRequest, std::string(65535, 'n').c_str(), ""), -1);
    m_own.reset();

    EXPECT_EQ(m_peer.ReceiveBytes(1), "");
}

TEST_F(BusSocket, RefusesAMessageThatTheBrokerWouldNotTakeAndSendsNothing) {
    EXPECT_EQ(Write(kRequest, "ping", std::string(kCbusMaxMessageBytes - 19, 'd')), -1);
    m_own.reset();

    EXPECT_EQ(m_peer.ReceiveBytes(1), "");
}

TEST_F(BusSocket, WritesTheLongestMessage) {
    const std::string data(kCbusMaxMessageBytes - 20, 'd');
    std::thread writer([&] { EXPECT_EQ(Write(kRequest, "ping", data), 0); });

    const std::string received = m_peer.ReceiveBytes(kCbusMaxMessageBytes);
    writer.join();

    EXPECT_EQ(received.size(), kCbusMaxMessageBytes);
}

TEST_F(BusSocket, WritingToAPeerThatIsGoneFailsWithoutASignal) {
    m_peer.Hang();

    EXPECT_EQ(Write(kRequest, "ping", "abc"), -1);
}

TEST_F(BusSocket, AMessageThatIsNotTakenWholeFailsAndEndsTheStream) {
    fcntl(m_own.get(), F_SETFL, O_NONBLOCK);

    EXPECT_EQ(Write(kRequest, "ping", std::string(4 << 20, 'd')), -1);
    EXPECT_EQ(Write(kRequest, "ping", "abc"), -1);
}

TEST_F(BusSocket, ReadsAMessageWithItsSizeOnTheWire) {
    m_peer.Send(WireMessage{2, 7, 258, 772, "ping", "abc"});

    EXPECT_EQ(Read(), 24);
    EXPECT_EQ(m_message.header.seqn, 258);
    EXPECT_EQ(m_message.header.reserved, 772);
    EXPECT_STREQ(m_message.body.get(), "ping");
    EXPECT_STREQ(m_message.body.get() + 8, "abc");
}

TEST_F(BusSocket, ReadsAMessageThatComesByteByByte) {
    std::thread sender([&] {
        for (const char byte : Bytes({2, 7, 1, 0, "ping", "abc"})) {
            EXPECT_TRUE(m_peer.Send(std::string(1, byte)));
        }
    });

    EXPECT_EQ(Read(), 24);
    sender.join();
    EXPECT_STREQ(m_message.body.get() + 8, "abc");
}

TEST_F(BusSocket, ReadingStopsAtTheMessagesEnd) {
    m_peer.Send(Bytes({2, 7, 1, 0, "one", ""}) + Bytes({2, 7, 2, 0, "two", ""}));

    EXPECT_EQ(Read(), 16);
    EXPECT_EQ(Read(), 16);
    EXPECT_STREQ(m_message.body.get(), "two");
}

TEST_F(BusSocket, ReadingFailsWhenThePeerIsGone) {
    m_peer.Hang();

    EXPECT_EQ(Read(), -1);
}

TEST_F(BusSocket, ReadingFailsWhenThePeerGoesInTheHeader) {
    m_peer.Send(HeaderBytes(kRequest).substr(0, 11));
    m_peer.Hang();

    EXPECT_EQ(Read(), -1);
}

TEST_F(BusSocket, ReadingFailsWhenThePeerGoesInTheData) {
    m_peer.Send(Bytes({2, 7, 1, 0, "ping", "abc"}).substr(0, 23));
    m_peer.Hang();

    EXPECT_EQ(Read(), -1);
}

TEST_F(BusSocket, AHeaderThatAnnouncesGigabytesIsAFailedRead) {
    m_peer.Send(HeaderBytes({2, 7, 1, 0, 5, UINT32_MAX}));

    EXPECT_EQ(Read(), -1);
}

TEST_F(BusSocket, ANameWithoutItsNulIsCut) {
    m_peer.Send(HeaderBytes({2, 7, 1, 0, 4, 0}) + "abcd");

    ASSERT_EQ(Read(), 16);
    EXPECT_STREQ(m_message.body.get(), "abc");
}

TEST_F(BusSocket, ZerosFollowTheDataWhateverThePaddingHeld) {
    m_peer.Send(HeaderBytes({2, 7, 1, 0, 0, 1}) + "dxyz");

    ASSERT_EQ(Read(), 16);
    EXPECT_EQ(std::string(m_message.body.get(), 4 + kCbusRxSlackBytes),
              "d" + std::string(3 + kCbusRxSlackBytes, '\0'));
}
