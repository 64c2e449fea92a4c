// SPDX-License-Identifier: MIT

#include "runtime/fdloop_libevent.h"

#include <csignal>
#include <cstdio>

#include <event2/event.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeClock.h"
#include "FdLoopFixture.h"
#include "tests/support/FakeSyslog.h"

using testing::Contains;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::KilledBySignal;

namespace {

// What a watch's callback saw and what it answers.
struct Calls {
    FdLoopPtr* loop = nullptr;
    int answer = 0;
    int count = 0;
    int fd = -1;
    void* watch = nullptr;
};

int record_call(int fd, void* context, void* watch) {
    auto* calls = static_cast<Calls*>(context);
    ++calls->count;
    calls->fd = fd;
    calls->watch = watch;
    return calls->answer;
}

int record_plain_call(int fd, void* context) {
    return record_call(fd, context, nullptr);
}

int remove_own_watch(int fd, void* context, void* watch) {
    fdloop_fd_unregister(static_cast<Calls*>(context)->loop->get(), fd);
    return record_call(fd, context, watch);
}

int replace_own_watch(int fd, void* context, void* watch) {
    auto* calls = static_cast<Calls*>(context);
    fdloop_fd_unregister(calls->loop->get(), fd);
    fdloop_fd_register(calls->loop->get(), fd, record_call, calls);
    return record_call(fd, context, watch);
}

class FdLoopWatch : public FdLoop {
  protected:
    Calls m_calls;
};

using FdLoopWatchDeathTest = FdLoopWatch;

void exit_at_third_tick(void* context, int, _fdloop_timer_t*) {
    if (++*static_cast<int*>(context) == 3) {
        _exit(7);
    }
}

}  // namespace

TEST_F(FdLoopWatch, CallsAReadWatchWithDescriptorContextAndWatch) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 1);
    EXPECT_EQ(m_calls.fd, Fd());
    EXPECT_NE(m_calls.watch, nullptr);
}

TEST_F(FdLoopWatch, ServesTheBaseItWasGiven) {
    const COwned<event_base, event_base_free> base(event_base_new());
    const FdLoopPtr loop(fdloop_init_libevent(base.get()));
    fdloop_fd_register(loop.get(), Fd(), record_call, &m_calls);

    event_base_loop(base.get(), EVLOOP_ONCE);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatch, CallsAWatchAgainWhileItsDescriptorIsReady) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run(3);

    EXPECT_EQ(m_calls.count, 3);
}

TEST_F(FdLoopWatch, DoesNotCallAReadWatchOfASilentDescriptor) {
    const Pipe silent;
    fdloop_fd_register(m_loop.get(), silent.reader.get(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoopWatch, CallsAWriteWatchWhenThereIsRoom) {
    fdloop_fd_register_write(m_loop.get(), m_pipe.writer.get(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatch, NeverCallsAnExceptionWatch) {
    fdloop_fd_register_except(m_loop.get(), Fd(), record_call, &m_calls);

    Run();
    fdloop_fd_unregister_except(m_loop.get(), Fd());

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoopWatch, DisarmsAReadWatchThatAnswersMinusOne) {
    m_calls.answer = -1;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatchDeathTest, KeepsADisarmedWatchRegisteredUntilItIsUnregistered) {
    m_calls.answer = -1;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    Run();

    fdloop_fd_unregister(m_loop.get(), Fd());

    EXPECT_EXIT(fdloop_fd_unregister(m_loop.get(), Fd()), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopWatch, StopsCallingAnUnregisteredWatch) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_unregister(m_loop.get(), Fd());
    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoopWatch, UnregistersTheOldestWatchOfADescriptorFirst) {
    Calls newer;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &newer);

    fdloop_fd_unregister(m_loop.get(), Fd());
    Run();

    EXPECT_EQ(m_calls.count, 0);
    EXPECT_EQ(newer.count, 1);
}

TEST_F(FdLoopWatch, UnregistersWatchesOfTheAskedKindOnly) {
    const int fd = m_pipe.writer.get();
    fdloop_fd_register_write(m_loop.get(), fd, record_call, &m_calls);
    fdloop_fd_register(m_loop.get(), fd, do_nothing, nullptr);

    fdloop_fd_unregister(m_loop.get(), fd);
    Run();
    fdloop_fd_unregister_write(m_loop.get(), fd);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatch, LetsACallbackRemoveItsOwnWatchAndIgnoresItsAnswer) {
    m_calls = {.loop = &m_loop, .answer = -1};
    fdloop_fd_register(m_loop.get(), Fd(), remove_own_watch, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatch, KeepsTheWatchThatACallbackPutsInPlaceOfItsOwn) {
    m_calls = {.loop = &m_loop, .answer = -1};
    fdloop_fd_register(m_loop.get(), Fd(), replace_own_watch, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 2);
}

TEST_F(FdLoopWatch, IgnoresTheRegistrationOfANegativeDescriptor) {
    const COwned<event_base, event_base_free> base(event_base_new());
    const FdLoopPtr loop(fdloop_init_libevent(base.get()));

    fdloop_fd_register(loop.get(), -1, record_call, &m_calls);

    EXPECT_EQ(event_base_get_num_events(base.get(), EVENT_BASE_COUNT_ADDED), 0);
}

TEST_F(FdLoopWatchDeathTest, PanicsWhenANegativeDescriptorIsUnregistered) {
    EXPECT_EXIT(fdloop_fd_unregister(m_loop.get(), -1), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopWatchDeathTest, PanicsOnDescriptorsAboveTheSigned16BitRange) {
    EXPECT_EXIT(fdloop_fd_register(m_loop.get(), 32768, do_nothing, nullptr), KilledBySignal(SIGABRT),
                kAssertText);
}

TEST_F(FdLoopWatchDeathTest, PanicsWhenAWatchHasNoCallback) {
    fdloop_fd_register(m_loop.get(), Fd(), nullptr, nullptr);

    EXPECT_EXIT(Run(), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopWatchDeathTest, PanicsOnANullHandle) {
    EXPECT_EXIT(fdloop_fd_register(nullptr, Fd(), do_nothing, nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_fd_unregister(nullptr, Fd()), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_fd_enable(nullptr, Fd(), do_nothing, 1), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_run(nullptr), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopWatch, LogsADescriptorThatCannotBeWatched) {
    const COwned<std::FILE, std::fclose> file(std::tmpfile());
    fake_syslog::forget();

    fdloop_fd_register(m_loop.get(), fileno(file.get()), do_nothing, nullptr);

    EXPECT_THAT(fake_syslog::calls(), Contains(HasSubstr("cannot watch descriptor")));
}

TEST_F(FdLoopWatch, EnableDisarmsAnEnabledWatchAndRemembersTheArgument) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 1);
    Run();
    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 1);  // the flag still says 1: disarms once more
    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoopWatch, EnableArmsAWatchWhoseFlagIsZeroWhateverTheArgument) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 0);

    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 0);
    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopWatch, EnableDoesNothingForAnotherCallback) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_enable(m_loop.get(), Fd(), do_nothing, 1);
    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, RunsPassesWithoutEnd) {
    int ticks = 0;
    fdloop_timer_add(m_loop.get(), 1, exit_at_third_tick, &ticks);

    EXPECT_EXIT(fdloop_loop(m_loop.get()), ExitedWithCode(7), "");
}

TEST_F(FdLoop, DoesNotSupportATimedLoop) {
    EXPECT_EXIT(fdloop_loop_timed(m_loop.get(), 10), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoop, TellsTheMonotonicTime) {
    FakeClock clock;
    clock.SetMonotonic(12, 345000000);

    EXPECT_EQ(fdloop_time_ms(), 12345u);
}

TEST_F(FdLoopWatch, AdaptorForwardsToTheReadWatches) {
    FdLoopAdaptor adaptor(m_loop.get());

    adaptor.fdloop_fd_register(Fd(), record_plain_call, &m_calls);
    Run();
    adaptor.fdloop_fd_unregister(Fd());
    Run();

    EXPECT_EQ(m_calls.count, 1);
    EXPECT_EQ(m_calls.fd, Fd());
}
