// SPDX-License-Identifier: MIT

#include "tools/common/Interruption.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Wakeup = Interruption::Wakeup;
using Clock = Deadline::clock;

struct Pipe {
    Pipe() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    UniqueFd reader;
    UniqueFd writer;
};

}  // namespace

TEST(Interruption, WakesForADescriptorThatIsReady) {
    const Interruption none;
    const Pipe pipe;
    ASSERT_EQ(write(pipe.writer.get(), "x", 1), 1);

    EXPECT_EQ(none.await(pipe.reader.get(), POLLIN, kNoDeadline), Wakeup::kReady);
}

TEST(Interruption, WakesForADescriptorThatFailed) {
    const Interruption none;
    Pipe pipe;
    pipe.writer.reset();

    EXPECT_EQ(none.await(pipe.reader.get(), POLLIN, kNoDeadline), Wakeup::kReady);
}

TEST(Interruption, EndsAtTheTimeLimitAndNotBefore) {
    const Interruption none;
    const Pipe pipe;
    const Deadline deadline = Clock::now() + 20ms;

    EXPECT_EQ(none.await(pipe.reader.get(), POLLIN, deadline), Wakeup::kTimeLimit);
    EXPECT_GE(Clock::now(), deadline);
}

TEST(Interruption, LooksOnceWhenTheTimeIsOverAlready) {
    const Interruption none;
    const Pipe pipe;
    const Deadline past = Clock::now() - 1s;

    EXPECT_EQ(none.await(pipe.reader.get(), POLLIN, past), Wakeup::kTimeLimit);
    ASSERT_EQ(write(pipe.writer.get(), "x", 1), 1);
    EXPECT_EQ(none.await(pipe.reader.get(), POLLIN, past), Wakeup::kReady);
}

TEST(Interruption, WaitsForTheTimeAloneWithoutADescriptor) {
    const Interruption none;

    EXPECT_EQ(none.await(-1, 0, Clock::now() + 1ms), Wakeup::kTimeLimit);
}

TEST(Interruption, ASignalEndsEveryWaitFromThenOn) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Interruption interruption;
        ASSERT_TRUE(interruption.addSignals());

        raise(signal);

        EXPECT_EQ(interruption.await(-1, 0, kNoDeadline), Wakeup::kInterrupted);
        EXPECT_EQ(interruption.await(-1, 0, kNoDeadline), Wakeup::kInterrupted);
    }
}

TEST(Interruption, ASignalGoesBeforeADescriptorThatIsReady) {
    Interruption interruption;
    ASSERT_TRUE(interruption.addSignals());
    const Pipe pipe;
    ASSERT_EQ(write(pipe.writer.get(), "x", 1), 1);

    raise(SIGTERM);

    EXPECT_EQ(interruption.await(pipe.reader.get(), POLLIN, kNoDeadline), Wakeup::kInterrupted);
}

TEST(Interruption, GivesTheSignalsBack) {
    sigset_t mask;
    {
        Interruption interruption;
        ASSERT_TRUE(interruption.addSignals());
        raise(SIGTERM);
    }

    ASSERT_EQ(sigprocmask(SIG_BLOCK, nullptr, &mask), 0);

    EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
    EXPECT_EQ(sigismember(&mask, SIGINT), 0);
}

TEST(Interruption, TheEndOfAPipesReaderEndsWaits) {
    Interruption interruption;
    Pipe pipe;
    interruption.addReaderOf(pipe.writer.get());
    EXPECT_EQ(interruption.await(-1, 0, Clock::now()), Wakeup::kTimeLimit);

    pipe.reader.reset();

    EXPECT_EQ(interruption.await(-1, 0, kNoDeadline), Wakeup::kInterrupted);
}

TEST(Interruption, AFileHasAReaderForEver) {
    Interruption interruption;
    const UniqueFd file(open("/dev/null", O_WRONLY | O_CLOEXEC));
    interruption.addReaderOf(file.get());

    EXPECT_EQ(interruption.await(-1, 0, Clock::now() + 1ms), Wakeup::kTimeLimit);
}
