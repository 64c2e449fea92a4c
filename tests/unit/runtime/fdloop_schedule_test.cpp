// SPDX-License-Identifier: MIT

#include <csignal>
#include <string>
#include <utility>

#include <event2/event.h>

#include <gtest/gtest.h>

#include "FakeClock.h"
#include "FdLoopFixture.h"
#include "runtime/fdloop_libevent.h"

using testing::KilledBySignal;

// The timers and idlers of the loop.

namespace {

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

TEST_F(FdLoopTimerDeathTest, PanicsOnANullHandle) {
    EXPECT_EXIT(fdloop_timer_add(nullptr, 1, record_tick, nullptr), KilledBySignal(SIGABRT), kAssertText);
    EXPECT_EXIT(fdloop_idler_add(nullptr, write_letter, nullptr), KilledBySignal(SIGABRT), kAssertText);
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
