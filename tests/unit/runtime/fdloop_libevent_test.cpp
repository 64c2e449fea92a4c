#include "runtime/fdloop_libevent.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include <event2/event.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FakeClock.h"
#include "FakeSyslog.h"
#include "runtime/px_time.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::KilledBySignal;

namespace {

constexpr const char* kAssertText = "\\*\\*\\* ASSERT in fdloop_libevent at [0-9]+";

struct Pipe {
    Pipe() {
        int ends[2];
        EXPECT_EQ(pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0);
        reader.reset(ends[0]);
        writer.reset(ends[1]);
    }
    void Fill() const { EXPECT_EQ(write(writer.get(), "x", 1), 1); }

    UniqueFd reader;
    UniqueFd writer;
};

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

int do_nothing(int, void*, void*) {
    return 0;
}

class FdLoop : public testing::Test {
  protected:
    FdLoop() {
        // Something is always ready, so that no pass waits.
        m_ready.Fill();
        fdloop_fd_register(m_loop.get(), m_ready.reader.get(), do_nothing, nullptr);
        m_pipe.Fill();
    }

    void Run(int passes = 1) {
        for (int pass = 0; pass < passes; ++pass) {
            EXPECT_EQ(fdloop_run(m_loop.get()), 0);
        }
    }
    [[nodiscard]] int Fd() const { return m_pipe.reader.get(); }

    Pipe m_ready;
    Pipe m_pipe;
    Calls m_calls;
    FdLoopPtr m_loop{fdloop_init()};
};

using FdLoopDeathTest = FdLoop;

struct Ticks {
    _fdloop_t* loop = nullptr;
    int count = 0;
    int flags = 0;
    _fdloop_timer_t* timer = nullptr;
};

void record_tick(void* context, int flags, _fdloop_timer_t* timer) {
    auto* ticks = static_cast<Ticks*>(context);
    ++ticks->count;
    ticks->flags = flags;
    ticks->timer = timer;
}

void delete_own_timer(void* context, int flags, _fdloop_timer_t* timer) {
    record_tick(context, flags, timer);
    fdloop_timer_del(static_cast<Ticks*>(context)->loop, timer);
}

void exit_at_third_tick(void* context, int, _fdloop_timer_t*) {
    if (++static_cast<Ticks*>(context)->count == 3) {
        _exit(7);
    }
}

// Timers under a clock that only the test moves.
class FdLoopTimer : public FdLoop {
  protected:
    FdLoopTimer() { m_ticks.loop = m_loop.get(); }

    int TicksAfterMs(long ms) {
        m_clock.AdvanceMonotonicMs(ms);
        const int before = m_ticks.count;
        Run();
        return m_ticks.count - before;
    }

    FakeClock m_clock;
    Ticks m_ticks;
};

using FdLoopTimerDeathTest = FdLoopTimer;

// Idlers that write their letter into a common text.
struct Letter {
    std::string* text;
    char letter;
    _fdloop_t* loop = nullptr;
    _fdloop_idler_t* victim = nullptr;  // deleted by the idler as it runs
};

void write_letter(void* context) {
    auto* letter = static_cast<Letter*>(context);
    *letter->text += letter->letter;
    if (letter->victim != nullptr) {
        fdloop_idler_del(letter->loop, std::exchange(letter->victim, nullptr));
    }
}

class FdLoopIdler : public FdLoop {
  protected:
    _fdloop_idler_t* Add(Letter& letter) { return fdloop_idler_add(m_loop.get(), write_letter, &letter); }
    std::string RunOnce() {
        m_text.clear();
        Run();
        return m_text;
    }

    std::string m_text;
    Letter m_a{&m_text, 'a', m_loop.get()};
    Letter m_b{&m_text, 'b', m_loop.get()};
    Letter m_c{&m_text, 'c', m_loop.get()};
};

using FdLoopIdlerDeathTest = FdLoopIdler;

}  // namespace

TEST_F(FdLoop, CallsAReadWatchWithDescriptorContextAndWatch) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 1);
    EXPECT_EQ(m_calls.fd, Fd());
    EXPECT_NE(m_calls.watch, nullptr);
}

TEST_F(FdLoop, ServesTheBaseItWasGiven) {
    const COwned<event_base, event_base_free> base(event_base_new());
    const FdLoopPtr loop(fdloop_init_libevent(base.get()));
    fdloop_fd_register(loop.get(), Fd(), record_call, &m_calls);

    event_base_loop(base.get(), EVLOOP_ONCE);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, CallsAWatchAgainWhileItsDescriptorIsReady) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run(3);

    EXPECT_EQ(m_calls.count, 3);
}

TEST_F(FdLoop, DoesNotCallAReadWatchOfASilentDescriptor) {
    const Pipe silent;
    fdloop_fd_register(m_loop.get(), silent.reader.get(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoop, CallsAWriteWatchWhenThereIsRoom) {
    fdloop_fd_register_write(m_loop.get(), m_pipe.writer.get(), record_call, &m_calls);

    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, NeverCallsAnExceptionWatch) {
    fdloop_fd_register_except(m_loop.get(), Fd(), record_call, &m_calls);

    Run();
    fdloop_fd_unregister_except(m_loop.get(), Fd());

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoop, DisarmsAReadWatchThatAnswersMinusOne) {
    m_calls.answer = -1;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoopDeathTest, KeepsADisarmedWatchRegisteredUntilItIsUnregistered) {
    m_calls.answer = -1;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    Run();

    fdloop_fd_unregister(m_loop.get(), Fd());

    EXPECT_EXIT(fdloop_fd_unregister(m_loop.get(), Fd()), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoop, StopsCallingAnUnregisteredWatch) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_unregister(m_loop.get(), Fd());
    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoop, UnregistersTheOldestWatchOfADescriptorFirst) {
    Calls newer;
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &newer);

    fdloop_fd_unregister(m_loop.get(), Fd());
    Run();

    EXPECT_EQ(m_calls.count, 0);
    EXPECT_EQ(newer.count, 1);
}

TEST_F(FdLoop, UnregistersWatchesOfTheAskedKindOnly) {
    const int fd = m_pipe.writer.get();
    fdloop_fd_register_write(m_loop.get(), fd, record_call, &m_calls);
    fdloop_fd_register(m_loop.get(), fd, do_nothing, nullptr);

    fdloop_fd_unregister(m_loop.get(), fd);
    Run();
    fdloop_fd_unregister_write(m_loop.get(), fd);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, LetsACallbackRemoveItsOwnWatchAndIgnoresItsAnswer) {
    m_calls = {.loop = &m_loop, .answer = -1};
    fdloop_fd_register(m_loop.get(), Fd(), remove_own_watch, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, KeepsTheWatchThatACallbackPutsInPlaceOfItsOwn) {
    m_calls = {.loop = &m_loop, .answer = -1};
    fdloop_fd_register(m_loop.get(), Fd(), replace_own_watch, &m_calls);

    Run(2);

    EXPECT_EQ(m_calls.count, 2);
}

TEST_F(FdLoopDeathTest, IgnoresTheRegistrationOfANegativeDescriptor) {
    fdloop_fd_register(m_loop.get(), -1, record_call, &m_calls);

    EXPECT_EXIT(fdloop_fd_unregister(m_loop.get(), -1), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopDeathTest, PanicsOnDescriptorsAboveTheSigned16BitRange) {
    EXPECT_EXIT(fdloop_fd_register(m_loop.get(), 32768, do_nothing, nullptr), KilledBySignal(SIGABRT),
                kAssertText);
}

TEST_F(FdLoopDeathTest, PanicsWhenAWatchHasNoCallback) {
    fdloop_fd_register(m_loop.get(), Fd(), nullptr, nullptr);

    EXPECT_EXIT(Run(), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopDeathTest, PanicsOnANullHandle) {
    EXPECT_EXIT(fdloop_fd_register(nullptr, Fd(), do_nothing, nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_fd_unregister(nullptr, Fd()), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_fd_enable(nullptr, Fd(), do_nothing, 1), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_timer_add(nullptr, 1, record_tick, nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_idler_add(nullptr, write_letter, nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_run(nullptr), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoop, LogsADescriptorThatCannotBeWatched) {
    const COwned<std::FILE, std::fclose> file(std::tmpfile());
    fake_syslog::forget();

    fdloop_fd_register(m_loop.get(), fileno(file.get()), do_nothing, nullptr);

    EXPECT_THAT(fake_syslog::calls(), Contains(HasSubstr("cannot watch descriptor")));
}

TEST_F(FdLoop, EnableDisarmsAnEnabledWatchAndRemembersTheArgument) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 1);
    Run();
    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 1);  // the flag still says 1: disarms once more
    Run();

    EXPECT_EQ(m_calls.count, 0);
}

TEST_F(FdLoop, EnableArmsAWatchWhoseFlagIsZeroWhateverTheArgument) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);
    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 0);

    fdloop_fd_enable(m_loop.get(), Fd(), record_call, 0);
    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, EnableDoesNothingForAnotherCallback) {
    fdloop_fd_register(m_loop.get(), Fd(), record_call, &m_calls);

    fdloop_fd_enable(m_loop.get(), Fd(), do_nothing, 1);
    Run();

    EXPECT_EQ(m_calls.count, 1);
}

TEST_F(FdLoop, RunsPassesWithoutEnd) {
    Ticks ticks;
    fdloop_timer_add(m_loop.get(), 1, exit_at_third_tick, &ticks);

    EXPECT_EXIT(fdloop_loop(m_loop.get()), ExitedWithCode(7), "");
}

TEST_F(FdLoopDeathTest, DoesNotSupportATimedLoop) {
    EXPECT_EXIT(fdloop_loop_timed(m_loop.get(), 10), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoop, TellsTheMonotonicTime) {
    FakeClock clock;
    clock.SetMonotonic(12, 345000000);

    EXPECT_EQ(fdloop_time_ms(), 12345u);
}

TEST_F(FdLoopTimer, FiresAfterItsIntervalAgainAndAgain) {
    _fdloop_timer_t* timer = fdloop_timer_add(m_loop.get(), 20, record_tick, &m_ticks);

    EXPECT_EQ(TicksAfterMs(10), 0);
    EXPECT_EQ(TicksAfterMs(11), 1);
    EXPECT_EQ(TicksAfterMs(21), 1);
    EXPECT_EQ(m_ticks.timer, timer);
    EXPECT_EQ(m_ticks.flags, EV_TIMEOUT);
}

TEST_F(FdLoopTimer, AcceptsIntervalsOfMoreThanASecond) {
    fdloop_timer_add(m_loop.get(), 1500, record_tick, &m_ticks);

    EXPECT_EQ(TicksAfterMs(1400), 0);
    EXPECT_EQ(TicksAfterMs(200), 1);
}

TEST_F(FdLoopTimer, AcceptsIntervalsWhoseMicrosecondsReachTheLibrarysFlagBits) {
    fdloop_timer_add(m_loop.get(), 1400000, record_tick, &m_ticks);

    EXPECT_EQ(TicksAfterMs(1399000), 0);
    EXPECT_EQ(TicksAfterMs(2000), 1);
}

TEST_F(FdLoopTimer, FiresOnceWithAnIntervalOfZero) {
    fdloop_timer_add(m_loop.get(), 0, record_tick, &m_ticks);

    EXPECT_EQ(TicksAfterMs(1), 1);
    EXPECT_EQ(TicksAfterMs(1), 0);
}

TEST_F(FdLoopTimer, TellsItsInterval) {
    const _fdloop_timer_t* timer = fdloop_timer_add(m_loop.get(), 1500, record_tick, &m_ticks);

    EXPECT_EQ(fdloop_timer_get_interval(timer), 1500u);
}

TEST_F(FdLoopTimer, TakesANewIntervalFromNowOn) {
    _fdloop_timer_t* timer = fdloop_timer_add(m_loop.get(), 1000, record_tick, &m_ticks);

    fdloop_timer_set_interval(timer, 250);

    EXPECT_EQ(fdloop_timer_get_interval(timer), 250u);
    EXPECT_EQ(TicksAfterMs(251), 1);
}

TEST_F(FdLoopTimer, IsSilentOnceItIsDeleted) {
    _fdloop_timer_t* timer = fdloop_timer_add(m_loop.get(), 10, record_tick, &m_ticks);

    fdloop_timer_del(m_loop.get(), timer);

    EXPECT_EQ(TicksAfterMs(11), 0);
}

TEST_F(FdLoopTimer, MayDeleteItselfInItsCallback) {
    fdloop_timer_add(m_loop.get(), 10, delete_own_timer, &m_ticks);

    EXPECT_EQ(TicksAfterMs(11), 1);
    EXPECT_EQ(TicksAfterMs(11), 0);
}

TEST_F(FdLoopTimer, LeavesOlderTimersRunningWhenTheNewestIsDeleted) {
    _fdloop_timer_t* older = fdloop_timer_add(m_loop.get(), 10, record_tick, &m_ticks);
    _fdloop_timer_t* newest = fdloop_timer_add(m_loop.get(), 10, record_tick, nullptr);

    fdloop_timer_del(m_loop.get(), newest);
    const int ticks = TicksAfterMs(11);
    fdloop_timer_del(m_loop.get(), older);

    EXPECT_EQ(ticks, 1);
    EXPECT_EQ(TicksAfterMs(11), 0);
}

TEST_F(FdLoopTimerDeathTest, PanicsOnANullTimer) {
    EXPECT_EXIT(fdloop_timer_del(m_loop.get(), nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_timer_set_interval(nullptr, 1), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(static_cast<void>(fdloop_timer_get_interval(nullptr)), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoopIdler, RunsInTheOrderOfAddingInEveryPass) {
    Add(m_a);
    Add(m_b);

    EXPECT_EQ(RunOnce(), "ab");
    EXPECT_EQ(RunOnce(), "ab");
}

TEST_F(FdLoopIdler, RunsBeforeTheDescriptorsOfThePass) {
    Add(m_a);
    fdloop_fd_register(
        m_loop.get(), Fd(),
        [](int, void* text, void*) {
            *static_cast<std::string*>(text) += 'r';
            return 0;
        },
        &m_text);

    EXPECT_EQ(RunOnce(), "ar");
}

TEST_F(FdLoopIdler, IsNotCalledOnceItIsDeleted) {
    Add(m_a);
    _fdloop_idler_t* b = Add(m_b);
    Add(m_c);

    fdloop_idler_del(m_loop.get(), b);

    EXPECT_EQ(RunOnce(), "ac");
}

TEST_F(FdLoopIdler, TakesTheWholeListAlongWhenItIsTheFirst) {
    _fdloop_idler_t* a = Add(m_a);
    Add(m_b);

    fdloop_idler_del(m_loop.get(), a);

    EXPECT_EQ(RunOnce(), "");
}

TEST_F(FdLoopIdler, MayBeAddedAfterTheListWasCleared) {
    _fdloop_idler_t* a = Add(m_a);
    _fdloop_idler_t* b = Add(m_b);
    fdloop_idler_del(m_loop.get(), a);

    Add(m_c);
    fdloop_idler_del(m_loop.get(), b);

    EXPECT_EQ(RunOnce(), "c");
}

TEST_F(FdLoopIdler, MayBeAddedAfterTheLastOfTheListWasDeleted) {
    Add(m_a);
    fdloop_idler_del(m_loop.get(), Add(m_b));

    Add(m_c);

    EXPECT_EQ(RunOnce(), "ac");
}

TEST_F(FdLoopIdler, MayDeleteItselfAndOthersAsItRuns) {
    Add(m_a);
    m_b.victim = Add(m_b);
    m_a.victim = Add(m_c);

    EXPECT_EQ(RunOnce(), "ab");
    EXPECT_EQ(RunOnce(), "a");
}

TEST_F(FdLoopIdlerDeathTest, PanicsWhenItIsDeletedTwice) {
    Add(m_a);
    _fdloop_idler_t* b = Add(m_b);
    fdloop_idler_del(m_loop.get(), b);

    EXPECT_EXIT(fdloop_idler_del(m_loop.get(), b), KilledBySignal(SIGABRT), kAssertText);
}

TEST_F(FdLoop, AdaptorForwardsToTheReadWatches) {
    FdLoopAdaptor adaptor(m_loop.get());

    adaptor.fdloop_fd_register(Fd(), record_plain_call, &m_calls);
    Run();
    adaptor.fdloop_fd_unregister(Fd());
    Run();

    EXPECT_EQ(m_calls.count, 1);
    EXPECT_EQ(m_calls.fd, Fd());
}
