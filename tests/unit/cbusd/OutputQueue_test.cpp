// SPDX-License-Identifier: MIT

#include "device/cbusd/OutputQueue.h"

#include <gtest/gtest.h>

#include <string>

#include "cbus/socket_helpers.h"
#include "tests/support/BusPeer.h"

namespace {

using Result = OutputQueue::Result;
constexpr cbus_header_t kHeader{CBUS_SIGNAL, 1, 2, 3, 0, 0};

class OutputWaiting : public testing::Test {
  protected:
    OutputWaiting() {
        int pair[2];
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair), 0);
        m_socket = UniqueFd(pair[0]);
        m_peer = BusPeer(UniqueFd(pair[1]));
    }

    Result Send(const std::string& body) { return m_queue.send(m_socket.get(), kHeader, body); }

    UniqueFd m_socket;
    BusPeer m_peer;
    OutputQueue m_queue;
};

}  // namespace

TEST_F(OutputWaiting, WhatTheSocketTakesDoesNotWait) {
    EXPECT_EQ(Send("body"), Result::kOk);

    EXPECT_EQ(m_queue.waiting_bytes(), 0u);
    EXPECT_EQ(m_peer.ReceiveBytes(100), HeaderBytes(kHeader) + "body");
}

TEST_F(OutputWaiting, OnlyTheRestWaits) {
    EXPECT_EQ(Send(std::string(1'000'000, 'x')), Result::kOk);

    EXPECT_GT(m_queue.waiting_bytes(), 0u);
    EXPECT_LT(m_queue.waiting_bytes(), 1'000'000u);
}

TEST_F(OutputWaiting, TheBytesComeOutInOrder) {
    std::string expected;
    for (const char c : {'a', 'b', 'c'}) {
        const std::string body(400'000, c);
        ASSERT_EQ(Send(body), Result::kOk);
        expected += HeaderBytes(kHeader) + body;
    }

    std::string received;
    while (received.size() < expected.size()) {
        received += m_peer.ReceiveBytes(100'000);
        ASSERT_EQ(m_queue.flush(m_socket.get()), Result::kOk);
    }

    EXPECT_TRUE(received == expected);
    EXPECT_EQ(m_queue.waiting_bytes(), 0u);
}

TEST_F(OutputWaiting, NothingWaitsOnceItWasCleared) {
    EXPECT_EQ(Send(std::string(1'000'000, 'x')), Result::kOk);

    m_queue.clear();

    EXPECT_EQ(m_queue.waiting_bytes(), 0u);
}

TEST_F(OutputWaiting, APeerThatIsGoneIsToldWithoutASignal) {
    m_peer.Hang();

    EXPECT_EQ(Send("body"), Result::kGone);
}

TEST_F(OutputWaiting, APeerThatGoesWhileSomethingWaitsIsTold) {
    Send(std::string(1'000'000, 'x'));
    m_peer.Hang();

    EXPECT_EQ(m_queue.flush(m_socket.get()), Result::kGone);
}
