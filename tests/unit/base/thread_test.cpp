// SPDX-License-Identifier: MIT

#include "src/base/thread.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <memory>

#include <gtest/gtest.h>

#include "runtime/c_owner.h"

namespace {

struct Pipe {
    Pipe() {
        int ends[2] = {-1, -1};
        EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
        read_end.reset(ends[0]);
        write_end.reset(ends[1]);
    }
    UniqueFd read_end;
    UniqueFd write_end;
};

// Adds one to a number.
class CountingThread : public Thread {
  public:
    explicit CountingThread(int& number) : m_number(number) {}
    void* run() override {
        ++m_number;
        return nullptr;
    }

  private:
    int& m_number;
};

// Takes the pipe's write end, writes a byte and holds the end open until the thread is over.
class ReportingThread : public Thread {
  public:
    enum class End { kReturns, kWaitsForEver };

    ReportingThread(Pipe& pipe, End end) : m_pipe(pipe), m_end(end) {}
    void* run() override {
        const UniqueFd alive(m_pipe.write_end.release());
        const bool waits = m_end == End::kWaitsForEver;
        m_self = pthread_self();
        EXPECT_EQ(write(alive.get(), "r", 1), 1);
        while (waits) {
            pthread_testcancel();  // a cancelled sleep would leave the thread sanitizer blind to the thread's locks
            sched_yield();
        }
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);  // closing is a place to be cancelled at
        return nullptr;
    }

    pthread_t threadsOwnHandle() const { return m_self; }

  private:
    Pipe& m_pipe;
    End m_end;
    pthread_t m_self = 0;
};

// Both wait: for the byte, and for the end of the thread.
bool has_begun(const Pipe& pipe) {
    char byte = 0;
    return read(pipe.read_end.get(), &byte, 1) == 1;
}

bool has_ended(const Pipe& pipe) {
    char byte = 0;
    return read(pipe.read_end.get(), &byte, 1) == 0;
}

using End = ReportingThread::End;

}  // namespace

TEST(Thread, RunsOnceStarted) {
    int runs = 0;
    CountingThread thread(runs);

    EXPECT_EQ(thread.start(), 0);
    EXPECT_EQ(thread.join(), 0);

    EXPECT_EQ(runs, 1);
}

TEST(Thread, IsLeftAloneWhenNeverStarted) {
    int runs = 0;

    { const CountingThread thread(runs); }

    EXPECT_EQ(runs, 0);
}

TEST(Thread, KnowsTheHandleOfItsThread) {
    Pipe pipe;
    ReportingThread thread(pipe, End::kReturns);

    thread.start();
    const pthread_t handle = thread.self();
    ASSERT_EQ(thread.join(), 0);

    EXPECT_TRUE(pthread_equal(handle, thread.threadsOwnHandle()));
}

TEST(ThreadJoin, IsRefusedBeforeTheStart) {
    int runs = 0;
    CountingThread thread(runs);

    EXPECT_EQ(thread.join(), -1);
}

TEST(ThreadJoin, FailsTheSecondTime) {
    int runs = 0;
    CountingThread thread(runs);
    thread.start();
    thread.join();

    EXPECT_EQ(thread.join(), EINVAL);
}

TEST(ThreadJoin, FailsOnADetachedThread) {
    Pipe pipe;
    ReportingThread thread(pipe, End::kReturns);
    thread.start();
    thread.detach();
    ASSERT_TRUE(has_begun(pipe) && has_ended(pipe));

    EXPECT_EQ(thread.join(), EINVAL);
}

TEST(ThreadDetach, IsRefusedBeforeTheStart) {
    int runs = 0;
    CountingThread thread(runs);

    EXPECT_EQ(thread.detach(), -1);
}

TEST(ThreadDetach, IsRefusedTheSecondTime) {
    Pipe pipe;
    ReportingThread thread(pipe, End::kReturns);
    thread.start();
    ASSERT_TRUE(has_begun(pipe));

    EXPECT_EQ(thread.detach(), 0);
    EXPECT_EQ(thread.detach(), -1);
}

TEST(ThreadDetach, FailsOnAJoinedThread) {
    int runs = 0;
    CountingThread thread(runs);
    thread.start();
    thread.join();

    EXPECT_EQ(thread.detach(), EINVAL);
}

TEST(ThreadDestructor, CancelsARunningThread) {
    Pipe pipe;
    auto thread = std::make_unique<ReportingThread>(pipe, End::kWaitsForEver);
    thread->start();
    ASSERT_TRUE(has_begun(pipe));

    thread.reset();

    EXPECT_TRUE(has_ended(pipe));
}

TEST(ThreadDestructor, CancelsADetachedThread) {
    Pipe pipe;
    auto thread = std::make_unique<ReportingThread>(pipe, End::kWaitsForEver);
    thread->start();
    thread->detach();
    ASSERT_TRUE(has_begun(pipe));

    thread.reset();

    EXPECT_TRUE(has_ended(pipe));
}

TEST(ThreadDestructor, CleansUpAfterAThreadThatHasEnded) {
    Pipe pipe;
    auto thread = std::make_unique<ReportingThread>(pipe, End::kReturns);
    thread->start();
    ASSERT_TRUE(has_begun(pipe) && has_ended(pipe));

    thread.reset();
}

TEST(ThreadDestructor, LeavesADetachedThreadAloneThatHasEnded) {
    Pipe pipe;
    auto thread = std::make_unique<ReportingThread>(pipe, End::kReturns);
    thread->start();
    thread->detach();
    ASSERT_TRUE(has_begun(pipe) && has_ended(pipe));

    thread.reset();
}
