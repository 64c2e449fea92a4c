// SPDX-License-Identifier: MIT

#include "device/diagd/ReportJob.h"

#include <event2/event.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <vector>

#include "runtime/fdloop_libevent.h"
#include "src/base/owners.h"
#include "tests/support/pump_until.h"

namespace {

// Runs in the child only: until it is killed.
std::string HangForEver() {
    for (;;) {
        pause();
    }
}

class ReportJobTest : public testing::Test {
  protected:
    void Start(const ReportJob::Work& work, const ReportJob::Options& options = {}) {
        m_job = ReportJob::start(m_loop.get(), options, work, [this](const std::string& error) {
            m_ends.push_back(error);
            m_job.reset();
        });
        ASSERT_NE(m_job, nullptr);
    }
    // With what it ended.
    std::string End() {
        EXPECT_TRUE(pump_until(m_base.get(), [this] { return !m_ends.empty(); }));
        return m_ends.empty() ? "(no end)" : m_ends.front();
    }
    static bool HasChildren() { return waitpid(-1, nullptr, WNOHANG) >= 0; }

    EventBasePtr m_base{event_base_new()};
    FdLoopPtr m_loop{fdloop_init_libevent(m_base.get())};
    std::unique_ptr<ReportJob> m_job;
    std::vector<std::string> m_ends;
};

}  // namespace

TEST_F(ReportJobTest, NothingAsAnAnswerIsSuccess) {
    Start([] { return std::string(); });

    EXPECT_EQ(End(), "");
}

TEST_F(ReportJobTest, TellsWhatTheWorkAnswered) {
    Start([] { return std::string("no disk"); });

    EXPECT_EQ(End(), "no disk");
}

TEST_F(ReportJobTest, CutsALongAnswer) {
    Start([] { return std::string(100000, 'x'); });

    EXPECT_EQ(End(), std::string(200, 'x'));
}

TEST_F(ReportJobTest, EndsOnceAndLeavesNoChild) {
    Start([] { return std::string("once"); });
    End();

    event_base_loop(m_base.get(), EVLOOP_NONBLOCK);

    EXPECT_EQ(m_ends.size(), 1U);
    EXPECT_FALSE(HasChildren());
}

TEST_F(ReportJobTest, DoesNotEndBeforeTheLoopTurns) {
    Start([] { return std::string(); });

    EXPECT_TRUE(m_ends.empty());
    End();
}

TEST_F(ReportJobTest, WritesToTheDescriptorThatIsKept) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const UniqueFd out(ends[0]);
    const UniqueFd in(ends[1]);
    Start([fd = in.get()] { return std::string(write(fd, "x", 1) == 1 ? "" : "closed"); },
          {.kept_fd = in.get()});

    EXPECT_EQ(End(), "");
    char byte = 0;
    EXPECT_EQ(read(out.get(), &byte, 1), 1);
}

TEST_F(ReportJobTest, NoOtherDescriptorReachesTheWork) {
    const UniqueFd low(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const UniqueFd kept(open("/dev/null", O_RDONLY | O_CLOEXEC));
    const UniqueFd high(fcntl(low.get(), F_DUPFD_CLOEXEC, 500));
    Start(
        [&] {
            const bool is_closed = fcntl(low.get(), F_GETFD) < 0 && fcntl(high.get(), F_GETFD) < 0;
            return std::string(is_closed && fcntl(kept.get(), F_GETFD) >= 0 ? "" : "open");
        },
        {.kept_fd = kept.get()});

    EXPECT_EQ(End(), "");
}

TEST_F(ReportJobTest, TellsThatTheWorkWasKilled) {
    Start(HangForEver);

    kill(m_job->pid(), SIGKILL);

    EXPECT_EQ(End(), "the collection was ended by signal 9");
}

TEST_F(ReportJobTest, TellsThatTheWorkEndedWithoutAnAnswer) {
    Start([]() -> std::string { _exit(3); });

    EXPECT_EQ(End(), "the collection ended with status 3");
}

TEST_F(ReportJobTest, GivesUpAtTheLimit) {
    Start(HangForEver, {.limit_ms = 50});

    EXPECT_EQ(End(), "not done within 50 ms");
    EXPECT_FALSE(HasChildren());
}

TEST_F(ReportJobTest, GivesUpOnWorkThatDoesNotListenToSignals) {
    Start(
        [] {
            sigset_t all;
            sigfillset(&all);
            sigprocmask(SIG_SETMASK, &all, nullptr);
            return HangForEver();
        },
        {.limit_ms = 50});

    EXPECT_EQ(End(), "not done within 50 ms");
    EXPECT_FALSE(HasChildren());
}

TEST_F(ReportJobTest, ItsDestructorEndsTheWorkWithoutACall) {
    Start(HangForEver);

    m_job.reset();
    event_base_loop(m_base.get(), EVLOOP_NONBLOCK);

    EXPECT_TRUE(m_ends.empty());
    EXPECT_FALSE(HasChildren());
}

// Both processes have the handler that libevent has installed, whose first act is to wake the loop of the parent.
TEST_F(ReportJobTest, ASignalOfTheChildIsNotTheParents) {
    int calls = 0;
    const EventPtr on_term(evsignal_new(
        m_base.get(), SIGTERM, [](evutil_socket_t, short, void* count) { ++*static_cast<int*>(count); },
        &calls));
    event_add(on_term.get(), nullptr);
    Start([]() -> std::string {
        raise(SIGTERM);
        return "still there";
    });

    EXPECT_EQ(End(), "the collection was ended by signal 15");
    event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
    EXPECT_EQ(calls, 0);
}
