// SPDX-License-Identifier: MIT

#include "src/system/Process.h"

#include <sys/prctl.h>
#include <sys/wait.h>
#include <filesystem>

#include <csignal>
#include <memory>

#include <gtest/gtest.h>

#include "FailingCalls.h"
#include "ProcessLoop.h"
#include "RecordingCallback.h"
#include "StubPrograms.h"
#include "tests/support/CapturedLog.h"

namespace {

using State = Process::State;
using Strings = std::vector<std::string>;

class ProcessTest : public testing::Test {
  protected:
    // Makes the process tell m_callback.
    Process& watched(Process& process) {
        process.setCallback(&m_callback);
        return process;
    }

    StubPrograms m_programs;
    CapturedLog m_log;
    RecordingCallback m_callback;
};

}  // namespace

TEST_F(ProcessTest, SplitsItsCommandLineAtWhiteSpace) {
    const Process process("  tcpdump\t-i  eth0\n-v ");

    EXPECT_EQ(process.getCommand(), "tcpdump");
    EXPECT_EQ(process.getArguments(), (Strings{"tcpdump", "-i", "eth0", "-v"}));
}

TEST_F(ProcessTest, KnowsNoQuotes) {
    EXPECT_EQ(Process("ip \"a b\" 'c'").getArguments(), (Strings{"ip", "\"a", "b\"", "'c'"}));
}

TEST_F(ProcessTest, HasNoChildAtFirst) {
    Process process("true");

    EXPECT_EQ(process.getState(), State::kCreated);
    EXPECT_EQ(process.getProcessId(), 0);
    EXPECT_EQ(process.kill(0), -1);
}

TEST_F(ProcessTest, PassesItsWordsToTheProgram) {
    m_programs.write("stub", "printf '%s|' \"$@\" > $DIR/words");

    EXPECT_EQ(Process("stub -a b*c $HOME").run(), 0);

    EXPECT_EQ(m_programs.text("words"), "-a|b*c|$HOME|");
}

TEST_F(ProcessTest, TellsTheExitCode) {
    m_programs.write("stub", "exit 3");
    Process process("stub");

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 3"});
    EXPECT_EQ(process.getState(), State::kExited);
    EXPECT_EQ(m_log.lines(), Strings{"6 src/Process: process: stub ::exited with exitcode: 3"});
}

TEST_F(ProcessTest, TellsTheSignalThatKilledIt) {
    m_programs.write("stub", "kill -KILL $$");
    Process process("stub");

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"terminated 9"});
    EXPECT_EQ(process.getState(), State::kKilled);
    EXPECT_EQ(m_log.lines(), Strings{"6 src/Process: process: stub killed by signal 9"});
}

TEST_F(ProcessTest, TellsStopsAndContinuations) {
    m_programs.write("stub", "kill -STOP $$\nread answer < $GATE");
    Process process("stub");
    std::vector<State> states;
    m_callback.then = [&](const std::string& event) {
        states.push_back(process.getState());
        if (event.starts_with("stopped")) {
            process.kill(SIGCONT);
        } else if (event == "continued") {
            m_programs.open();
        }
    };

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), (Strings{"stopped 19", "continued", "exited 0"}));
    EXPECT_EQ(states, (std::vector{State::kStopped, State::kRunning, State::kExited}));
    EXPECT_EQ(m_log.lines(), (Strings{"6 src/Process: process: stub stopped by signal 19",
                                      "6 src/Process: process: stub continues",
                                      "6 src/Process: process: stub ::exited with exitcode: 0"}));
}

TEST_F(ProcessTest, NeedsNoCallback) {
    EXPECT_EQ(Process("true").run(), 0);
}

TEST_F(ProcessTest, MayBeDestroyedWhenItTellsItsEnd) {
    auto process = std::make_unique<Process>("true");
    m_callback.then = [&](const std::string&) { process.reset(); };

    EXPECT_EQ(watched(*process).run(), 0);

    EXPECT_EQ(process, nullptr);
}

TEST_F(ProcessTest, PassesSignalsOnWhileTheProgramRuns) {
    m_programs.write("stub", "read answer < $GATE");
    Process process("stub");
    ASSERT_EQ(watched(process).spawn(), 0);
    EXPECT_EQ(process.getState(), State::kRunning);

    EXPECT_EQ(process.kill(SIGTERM), 0);
    EXPECT_EQ(process.wait(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"terminated 15"});
}

TEST_F(ProcessTest, SignalsNobodyAfterItsEnd) {
    m_programs.write("stub", "read answer < $GATE");
    Process process("stub");
    ASSERT_EQ(process.spawn(), 0);
    process.handleExitCode(0);  // the child here stands for one that got its id afterwards
    ASSERT_EQ(process.getState(), State::kExited);

    EXPECT_EQ(process.kill(SIGKILL), -1);

    m_programs.open();
    int status = -1;
    EXPECT_EQ(waitpid(process.getProcessId(), &status, 0), process.getProcessId());
    EXPECT_EQ(status, 0);
}

TEST_F(ProcessTest, LogsAWaitWithoutAChild) {
    Process process("stub");

    EXPECT_EQ(process.wait(), -1);

    EXPECT_EQ(m_log.lines(), Strings{"4 src/Process: process: Failed waiting for stub: No child processes"});
}

TEST_F(ProcessTest, LogsAWaitForAChildThatSomebodyElseHasReaped) {
    Process process("true");
    ASSERT_EQ(process.spawn(), 0);
    ASSERT_EQ(waitpid(process.getProcessId(), nullptr, 0), process.getProcessId());

    EXPECT_EQ(process.wait(), -1);

    EXPECT_EQ(m_log.lines(), Strings{"4 src/Process: process: Failed waiting for true: No child processes"});
}

TEST_F(ProcessTest, KeepsNoDescriptorAfterAFailedFork) {
    const auto open_descriptors = [] {
        const std::filesystem::directory_iterator entries("/proc/self/fd");
        return std::distance(begin(entries), end(entries));
    };
    const auto before = open_descriptors();
    failing_calls::fork_error = EAGAIN;
    Process process("stub");

    EXPECT_EQ(process.run(), -1);
    failing_calls::fork_error = 0;

    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(ProcessTest, LogsAFailedFork) {
    failing_calls::fork_error = EAGAIN;
    Process process("stub");

    EXPECT_EQ(process.run(), -1);
    failing_calls::fork_error = 0;

    EXPECT_EQ(process.getState(), State::kCreated);
    EXPECT_EQ(process.getProcessId(), 0);
    EXPECT_EQ(m_log.lines(),
              Strings{"3 src/Process: process: Error during forking for stub: Resource temporarily "
                      "unavailable"});
}

TEST_F(ProcessTest, ReportsAProgramThatCannotBeExecuted) {
    Process process("no-such-program -x");

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 2"});
    EXPECT_EQ(
        m_log.lines(),
        (Strings{"3 src/Process: process: Error during executing no-such-program: No such file or directory",
                 "6 src/Process: process: no-such-program ::exited with exitcode: 2"}));
}

TEST_F(ProcessTest, ReportsAMissingProgramNameLikeAnyOther) {
    Process process(" ");

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 2"});
}

TEST_F(ProcessTest, ReportsArgumentsThatTheKernelRefuses) {
    Process process("true " + std::string(200'000, 'x'));

    EXPECT_EQ(watched(process).run(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 7"});
    EXPECT_TRUE(m_log.has("3 src/Process: process: Error during executing true: Argument list too long"));
}

TEST_F(ProcessTest, LetsTheChildWaitForItsStart) {
    m_programs.write("stub", "exit 3");
    Process process("stub");
    ASSERT_EQ(watched(process).spawnNoStart(), 0);
    EXPECT_EQ(process.getState(), State::kForked);
    // The name of its program and how it is doing, as "(web_app) S".
    const auto state_of = [](const std::string& process_id) {
        std::string id, name, state;
        std::ifstream("/proc/" + process_id + "/stat") >> id >> name >> state;
        return name + " " + state;
    };
    const std::string child = std::to_string(process.getProcessId());
    // Asleep under the name of this program, or a zombie if it does not wait.
    ProcessLoop loop;
    ASSERT_TRUE(
        loop.turnUntil([&] { return state_of(child).ends_with("S") || state_of(child).ends_with("Z"); }));
    EXPECT_EQ(state_of(child), state_of("self").replace(state_of("self").size() - 1, 1, "S"));

    EXPECT_EQ(process.signalStart(), 0);
    EXPECT_EQ(process.wait(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 3"});
}

TEST_F(ProcessTest, EndsAChildThatIsNeverStarted) {
    m_programs.write("stub", "touch $DIR/ran");
    auto process = std::make_unique<Process>("stub");
    ASSERT_EQ(process->spawnNoStart(), 0);
    const int child = process->getProcessId();

    process.reset();

    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), ECANCELED);
    EXPECT_FALSE(m_programs.has("ran"));
}

TEST_F(ProcessTest, LogsAStartThatTheChildDoesNotLiveToSee) {
    const auto handler_before = std::signal(SIGPIPE, SIG_IGN);
    Process process("stub");
    ASSERT_EQ(watched(process).spawnNoStart(), 0);
    process.kill(SIGKILL);
    ProcessLoop::awaitEnd(process.getProcessId());

    EXPECT_EQ(process.signalStart(), -1);
    EXPECT_EQ(process.getState(), State::kForked);
    EXPECT_EQ(
        m_log.lines(),
        Strings{
            "3 src/Process: process: Error during writing to synchronization pipes for stub: Broken pipe"});

    EXPECT_EQ(process.wait(), 0);
    EXPECT_EQ(m_callback.told(), Strings{"terminated 9"});
    static_cast<void>(std::signal(SIGPIPE, handler_before));
}

TEST_F(ProcessTest, RunsWithoutTheStartPipe) {
    m_programs.write("stub", "exit 3");
    Process process("stub");
    failing_calls::pipe2_error = EMFILE;
    EXPECT_EQ(watched(process).spawn(), -1);
    failing_calls::pipe2_error = 0;

    EXPECT_EQ(process.wait(), 0);

    EXPECT_EQ(m_callback.told(), Strings{"exited 3"});
    EXPECT_EQ(
        m_log.lines(),
        (Strings{"3 src/Process: process: Error during creation of synchronization pipes for stub: Too many "
                 "open files",
                 "3 src/Process: process: Error during writing to synchronization pipes for stub: Bad file "
                 "descriptor",
                 "3 src/Process: process: Error during ::reading from synchronization pipes for stub: Bad "
                 "file descriptor",
                 "6 src/Process: process: stub ::exited with exitcode: 3"}));
}

TEST_F(ProcessTest, RunsWithoutReportsFromTheChild) {
    failing_calls::socketpair_error = EMFILE;
    Process process("no-such-program");

    EXPECT_EQ(watched(process).run(), 0);
    failing_calls::socketpair_error = 0;

    EXPECT_EQ(m_callback.told(), Strings{"exited 2"});
    EXPECT_EQ(m_log.lines(),
              (Strings{"3 src/Process: process: Error during creation of synchronization pipes for "
                       "no-such-program: Too many open files",
                       "6 src/Process: process: no-such-program ::exited with exitcode: 2"}));
}

TEST_F(ProcessTest, RunsADaemonDetachedFromThisProcess) {
    m_programs.write("stub",
                     "world=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2 /proc/$$/cwd)\n"
                     "echo \"$world\" > $DIR/world\n"
                     "cut -d' ' -f6 /proc/$$/stat > $DIR/session\n"
                     "touch $DIR/done");
    Process process("stub");

    EXPECT_EQ(process.daemon(), 0);

    EXPECT_EQ(process.getState(), State::kRunning);
    EXPECT_EQ(process.getProcessId(), 0);
    EXPECT_EQ(process.kill(0), -1);
    ProcessLoop loop;
    ASSERT_TRUE(loop.turnUntil([this] { return m_programs.has("done"); }));
    EXPECT_EQ(m_programs.text("world"), "/dev/null\n/dev/null\n/dev/null\n/\n");
    EXPECT_NE(std::stoi(m_programs.text("session")), getsid(0));
    EXPECT_EQ(m_log.lines(), Strings{});
}

TEST_F(ProcessTest, LeavesNoChildBehindWithADaemon) {
    ASSERT_EQ(Process("true").daemon(), 0);

    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProcessTest, ReportsADaemonThatCannotBeExecuted) {
    EXPECT_EQ(Process("no-such-program").daemon(), -1);

    EXPECT_EQ(
        m_log.lines(),
        Strings{"3 src/Process: process: Error during executing no-such-program: No such file or directory"});
}

TEST_F(ProcessTest, ReportsAChildThatCannotDetach) {
    failing_calls::daemon_error = EAGAIN;

    EXPECT_EQ(Process("stub").daemon(), -1);
    failing_calls::daemon_error = 0;

    EXPECT_EQ(
        m_log.lines(),
        Strings{"3 src/Process: process: Error during daemonizing stub: Resource temporarily unavailable"});
}
