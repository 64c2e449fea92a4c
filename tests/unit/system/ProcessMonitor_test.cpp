// SPDX-License-Identifier: MIT

#include "src/system/ProcessMonitor.h"

#include <fcntl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>
#include <list>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "FailingCalls.h"
#include "ProcessLoop.h"
#include "RecordingCallback.h"
#include "StubPrograms.h"
#include "src/system/Process.h"
#include "tests/support/CapturedLog.h"

namespace {

using Strings = std::vector<std::string>;

bool is_sigchld_blocked() {
    sigset_t blocked;
    pthread_sigmask(SIG_SETMASK, nullptr, &blocked);
    return sigismember(&blocked, SIGCHLD) == 1;
}

// A process with its callback.
struct Watched {
    explicit Watched(const std::string& command_line) : process(command_line) {
        process.setCallback(&callback);
    }

    RecordingCallback callback;
    Process process;
};

struct Pipe {
    Pipe() {
        int fds[2] = {-1, -1};
        EXPECT_EQ(pipe2(fds, O_CLOEXEC | O_NONBLOCK), 0);
        reader.reset(fds[0]);
        writer.reset(fds[1]);
    }

    UniqueFd reader;
    UniqueFd writer;
};

class ProcessMonitorTest : public testing::Test {
  protected:
    ProcessMonitorTest() { m_monitor.init(); }

    bool ends(const Watched& watched) {
        return m_loop.turnUntil([&] {
            return watched.process.getState() == Process::State::kExited ||
                   watched.process.getState() == Process::State::kKilled;
        });
    }

    StubPrograms m_programs;
    CapturedLog m_log;
    ProcessLoop m_loop;
    FdLoopAdaptor m_adaptor{m_loop.handle()};
    ProcessMonitor m_monitor{&m_adaptor};
};

}  // namespace

TEST_F(ProcessMonitorTest, TellsAProcessOfItsExit) {
    m_programs.write("stub", "exit 3");
    Watched stub("stub");

    EXPECT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    EXPECT_EQ(stub.process.getState(), Process::State::kRunning);
    ASSERT_TRUE(ends(stub));
    EXPECT_EQ(stub.callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessMonitorTest, TellsAProcessOfTheSignalThatKilledIt) {
    m_programs.write("stub", "kill -TERM $$");
    Watched stub("stub");

    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    ASSERT_TRUE(ends(stub));
    EXPECT_EQ(stub.callback.told(), Strings{"terminated 15"});
}

TEST_F(ProcessMonitorTest, TellsAProcessOfStopsAndContinuations) {
    m_programs.write("stub", "kill -STOP $$\nread answer < $GATE");
    Watched stub("stub");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    ASSERT_TRUE(m_loop.turnUntil([&] { return stub.process.getState() == Process::State::kStopped; }));

    stub.process.kill(SIGCONT);
    ASSERT_TRUE(m_loop.turnUntil([&] { return stub.process.getState() == Process::State::kRunning; }));
    m_programs.open();

    ASSERT_TRUE(ends(stub));
    EXPECT_EQ(stub.callback.told(), (Strings{"stopped 19", "continued", "exited 0"}));
}

TEST_F(ProcessMonitorTest, TellsEachOfManyThatEndWhileOneSignalIsPending) {
    m_programs.write("stub", "exit $1");
    std::list<Watched> stubs;
    for (int code = 0; code < 10; ++code) {
        stubs.emplace_back("stub " + std::to_string(code));
        ASSERT_EQ(m_monitor.spawnProcess(&stubs.back().process), 0);
    }
    for (const Watched& stub : stubs) {
        ProcessLoop::awaitEnd(stub.process.getProcessId());
    }

    m_loop.turn();

    int code = 0;
    for (const Watched& stub : stubs) {
        EXPECT_EQ(stub.callback.told(), Strings{"exited " + std::to_string(code++)});
    }
}

TEST_F(ProcessMonitorTest, HearsOfAChildThatEndsBeforeItsStart) {
    const auto handler_before = std::signal(SIGPIPE, SIG_IGN);
    Watched stub("stub");
    failing_calls::kill_forked_children = true;

    EXPECT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    failing_calls::kill_forked_children = false;

    EXPECT_EQ(stub.process.getState(), Process::State::kForked);
    ASSERT_TRUE(ends(stub));
    EXPECT_EQ(stub.callback.told(), Strings{"terminated 9"});
    static_cast<void>(std::signal(SIGPIPE, handler_before));
}

TEST_F(ProcessMonitorTest, HearsOfEndsWhileAnotherThreadRuns) {
    std::promise<void> over;
    std::thread other([&over] { over.get_future().wait(); });
    m_programs.write("stub", "exit 3");
    std::list<Watched> stubs;
    for (int i = 0; i < 10; ++i) {
        stubs.emplace_back("stub");
        EXPECT_EQ(m_monitor.spawnProcess(&stubs.back().process), 0);
        EXPECT_TRUE(ends(stubs.back()));
    }

    over.set_value();
    other.join();
}

TEST_F(ProcessMonitorTest, IgnoresAndReapsChildrenOfOthers) {
    const pid_t other = fork();
    if (other == 0) {
        _exit(5);
    }
    m_programs.write("stub", "exit 3");
    Watched stub("stub");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    ASSERT_TRUE(ends(stub));
    ASSERT_TRUE(m_loop.turnUntil([other] { return kill(other, 0) != 0; }));

    EXPECT_EQ(stub.callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessMonitorTest, AnswersAFailedFork) {
    failing_calls::fork_error = EAGAIN;
    Process process("stub");

    EXPECT_EQ(m_monitor.spawnProcess(&process), -1);
    failing_calls::fork_error = 0;
}

TEST_F(ProcessMonitorTest, HearsOfAChildThatRanWithoutTheStartPipe) {
    m_programs.write("stub", "exit 3");
    Watched stub("stub");
    failing_calls::pipe2_error = EMFILE;
    EXPECT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    failing_calls::pipe2_error = 0;

    ASSERT_TRUE(ends(stub));

    EXPECT_EQ(stub.callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessMonitorTest, LogsWhatFailsInTheChildWhileTheProgramRuns) {
    m_programs.write("stub", "read answer < $GATE");
    Watched stub("stub");
    stub.process.setStdoutPath("/no/output");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    EXPECT_TRUE(m_loop.turnUntil([this] {
        return m_log.has("3 src/Process: process: Error opening /no/output: No such file or directory");
    }));

    EXPECT_EQ(stub.process.getState(), Process::State::kRunning);
    m_programs.open();
    ASSERT_TRUE(ends(stub));
}

TEST_F(ProcessMonitorTest, ClosesTheReportsWhenTheProgramRuns) {
    m_programs.write("stub", "read answer < $GATE");
    Watched stub("stub");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    ASSERT_GE(stub.process.reportDescriptor(), 0);

    EXPECT_TRUE(m_loop.turnUntil([&] { return stub.process.reportDescriptor() == -1; }));

    m_programs.open();
    ASSERT_TRUE(ends(stub));
}

TEST_F(ProcessMonitorTest, LogsWhyAProgramEndedBeforeThatItEnded) {
    Watched stub("no-such-program");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    ASSERT_TRUE(ends(stub));

    EXPECT_EQ(
        m_log.lines(),
        (Strings{"3 src/Process: process: Error during executing no-such-program: No such file or directory",
                 "6 src/Process: process: no-such-program ::exited with exitcode: 2"}));
    EXPECT_EQ(stub.process.reportDescriptor(), -1);
}

TEST_F(ProcessMonitorTest, LetsAProcessGoWhenItTellsItsEnd) {
    auto process = std::make_unique<Process>("true");
    RecordingCallback callback;
    callback.then = [&](const std::string&) { process.reset(); };
    process->setCallback(&callback);
    ASSERT_EQ(m_monitor.spawnProcess(process.get()), 0);

    EXPECT_TRUE(m_loop.turnUntil([&] { return process == nullptr; }));

    EXPECT_EQ(callback.told(), Strings{"exited 0"});
}

TEST_F(ProcessMonitorTest, StartsAProcessFromTheCallbackOfAnother) {
    m_programs.write("stub", "exit 3");
    Watched first("true");
    Watched second("stub");
    first.callback.then = [&](const std::string&) { EXPECT_EQ(m_monitor.spawnProcess(&second.process), 0); };
    ASSERT_EQ(m_monitor.spawnProcess(&first.process), 0);

    ASSERT_TRUE(ends(second));

    EXPECT_EQ(second.callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessMonitorTest, TellsAForgottenProcessNothingAndReapsItsChild) {
    m_programs.write("stub", "read answer < $GATE");
    Watched stub("stub");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    const int child = stub.process.getProcessId();

    m_monitor.forgetProcess(&stub.process);
    m_programs.open();

    ASSERT_TRUE(m_loop.turnUntil([child] { return kill(child, 0) != 0; }));
    EXPECT_EQ(stub.callback.told(), Strings{});
}

TEST_F(ProcessMonitorTest, ForgetsNothingElseWithAProcessThatItDoesNotKnow) {
    Watched known("true");
    Process unknown("true");
    ASSERT_EQ(m_monitor.spawnProcess(&known.process), 0);

    m_monitor.forgetProcess(&unknown);

    EXPECT_TRUE(ends(known));
}

TEST_F(ProcessMonitorTest, RefusesAShortRecord) {
    const Pipe pipe;

    EXPECT_EQ(m_monitor.signalFromChild(pipe.reader.get()), -1);

    EXPECT_EQ(m_log.lines(),
              Strings{"3 src/Process: Failed reading signal information from SIGCHLD file descriptor: "
                      "Resource temporarily unavailable"});
}

TEST_F(ProcessMonitorTest, RefusesTheRecordOfAnotherSignal) {
    const Pipe pipe;
    signalfd_siginfo record = {};
    record.ssi_signo = SIGHUP;
    ASSERT_EQ(write(pipe.writer.get(), &record, sizeof record), 128);

    EXPECT_EQ(m_monitor.signalFromChild(pipe.reader.get()), -1);

    EXPECT_EQ(m_log.lines(),
              Strings{"3 src/Process: Non SIGCHLD received on signal file descriptop: Hangup"});
}

TEST_F(ProcessMonitorTest, StaysOnTheLoopAfterABadRecord) {
    EXPECT_EQ(ProcessMonitor::fdLoopFdHandler(-1, &m_monitor), 0);

    EXPECT_EQ(m_log.countOf("3 src/Process: Failed reading"), 1);
}

TEST_F(ProcessMonitorTest, BlocksSigchldUntilItIsTakenDown) {
    EXPECT_TRUE(is_sigchld_blocked());

    m_monitor.deinit();
    EXPECT_FALSE(is_sigchld_blocked());

    m_monitor.deinit();
    EXPECT_EQ(m_log.lines(), Strings{});
}

TEST_F(ProcessMonitorTest, CanBeSetUpOnceMore) {
    m_monitor.deinit();
    m_monitor.init();
    m_monitor.init();
    Watched stub("true");

    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    EXPECT_TRUE(ends(stub));
}

TEST_F(ProcessMonitorTest, TouchesNoProcessAfterItIsTakenDown) {
    m_programs.write("stub", "read answer < $GATE");
    Watched stub("stub");
    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    m_monitor.deinit();
    m_programs.open();
    EXPECT_EQ(waitpid(stub.process.getProcessId(), nullptr, 0), stub.process.getProcessId());
    m_loop.turn();

    EXPECT_EQ(stub.callback.told(), Strings{});
}

TEST_F(ProcessMonitorTest, HearsOfEndsEvenWhenWhoeverStartedThisProgramIgnoresSigchld) {
    m_monitor.deinit();
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    m_monitor.init();
    m_programs.write("stub", "exit 3");
    Watched stub("stub");

    ASSERT_EQ(m_monitor.spawnProcess(&stub.process), 0);
    ASSERT_TRUE(ends(stub));
    static_cast<void>(std::signal(SIGCHLD, before));

    EXPECT_EQ(stub.callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessMonitorTest, LogsAMissingSignalDescriptorAndStartsProcessesAllTheSame) {
    m_monitor.deinit();
    failing_calls::signalfd_error = EMFILE;
    m_monitor.init();
    failing_calls::signalfd_error = 0;
    EXPECT_EQ(m_log.lines(),
              Strings{"3 src/Process: Cannot achieve file descriptor for signal SIGCHLD: Too many open "
                      "files"});
    Watched stub("true");

    EXPECT_EQ(m_monitor.spawnProcess(&stub.process), 0);

    EXPECT_EQ(waitpid(stub.process.getProcessId(), nullptr, 0), stub.process.getProcessId());
    m_monitor.forgetProcess(&stub.process);
    m_monitor.init();  // lets the signal through again when it goes
}
