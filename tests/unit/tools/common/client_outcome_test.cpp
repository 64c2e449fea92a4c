// SPDX-License-Identifier: MIT

#include "tools/common/client_outcome.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

namespace {

using namespace std::chrono_literals;

// Two ends of a connection; ours is waited for.
class ClientAwait : public testing::Test {
  protected:
    void SetUp() override {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        m_ours.reset(ends[0]);
        m_theirs.reset(ends[1]);
    }
    [[nodiscard]] ClientOutcome AwaitInput(Deadline deadline) const {
        return client_await(m_interruption, m_ours.get(), POLLIN, deadline);
    }

    Interruption m_interruption;
    UniqueFd m_ours;
    UniqueFd m_theirs;
};

}  // namespace

TEST_F(ClientAwait, IsOkWhenTheSocketIsReady) {
    ASSERT_EQ(write(m_theirs.get(), "x", 1), 1);

    EXPECT_EQ(AwaitInput(kNoDeadline), ClientOutcome::kOk);
    EXPECT_EQ(client_await(m_interruption, m_ours.get(), POLLOUT, kNoDeadline), ClientOutcome::kOk);
}

TEST_F(ClientAwait, IsOkWhenTheOtherEndHasGone) {
    m_theirs.reset();

    EXPECT_EQ(AwaitInput(kNoDeadline), ClientOutcome::kOk);
}

TEST_F(ClientAwait, TellsThatTheTimeIsOver) {
    EXPECT_EQ(AwaitInput(Deadline::clock::now() + 1ms), ClientOutcome::kTimeLimit);
}

TEST_F(ClientAwait, TellsOfAnInterruptionThoughTheSocketIsReady) {
    ASSERT_TRUE(m_interruption.addSignals());
    ASSERT_EQ(write(m_theirs.get(), "x", 1), 1);

    raise(SIGTERM);

    EXPECT_EQ(AwaitInput(kNoDeadline), ClientOutcome::kInterrupted);
}
