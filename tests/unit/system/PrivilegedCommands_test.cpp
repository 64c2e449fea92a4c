// SPDX-License-Identifier: MIT

#include "src/system/PrivilegedCommands.h"

#include <sys/wait.h>

#include <csignal>
#include <memory>

#include <gtest/gtest.h>

#include "FailingCalls.h"
#include "ProcessLoop.h"
#include "StubPrograms.h"
#include "src/system/ProcessMonitor.h"

namespace {

using Strings = std::vector<std::string>;

// What the commands have told, each as "exited EXITED 3".
class Owner final : public PrivilegedCommands::PriviligedCommandsInterface {
  public:
    void ProcessExited(PrivilegedCommands* command) override { note("exited ", command); }
    void ProcessTerminated(PrivilegedCommands* command) override { note("terminated ", command); }

    Strings told;
    std::function<void()> then = [] {};

  private:
    void note(const std::string& event, const PrivilegedCommands* command) {
        told.push_back(event + command->data().status + " " + std::to_string(command->data().exitcode));
        then();
    }
};

class PrivilegedCommandsTest : public testing::Test {
  protected:
    PrivilegedCommandsTest() { m_monitor.init(); }

    std::unique_ptr<PrivilegedCommands> make(const PrivilegedCommandObject& object) {
        return std::make_unique<PrivilegedCommands>(std::make_unique<PrivilegedCommandObject>(object),
                                                    &m_owner, &m_monitor);
    }
    bool tells() {
        return m_loop.turnUntil([this] { return !m_owner.told.empty(); });
    }

    StubPrograms m_programs;
    ProcessLoop m_loop;
    FdLoopAdaptor m_adaptor{m_loop.handle()};
    ProcessMonitor m_monitor{&m_adaptor};
    Owner m_owner;
};

}  // namespace

TEST_F(PrivilegedCommandsTest, TellsItsOwnerOfTheExitCode) {
    m_programs.write("stub", "exit 3");
    const auto command = make({.status = "RUNNING", .command = "stub"});

    EXPECT_EQ(command->runProcess(), 0);

    EXPECT_TRUE(command->hasProcess());
    ASSERT_TRUE(tells());
    EXPECT_EQ(m_owner.told, Strings{"exited EXITED 3"});
}

TEST_F(PrivilegedCommandsTest, TellsItsOwnerOfASignalButNotOfItsNumber) {
    m_programs.write("stub", "read answer < $GATE");
    const auto command = make({.command = "stub"});
    ASSERT_EQ(command->runProcess(), 0);

    EXPECT_EQ(command->killProcess(), 0);

    ASSERT_TRUE(tells());
    EXPECT_EQ(m_owner.told, Strings{"terminated EXITED 0"});
}

TEST_F(PrivilegedCommandsTest, AsksTheProcessToEndWithSigterm) {
    m_programs.write("stub", "trap 'exit 9' TERM\ntouch $DIR/ready\nread answer < $GATE");
    const auto command = make({.command = "stub"});
    ASSERT_EQ(command->runProcess(), 0);
    ASSERT_TRUE(m_loop.turnUntil([this] { return m_programs.has("ready"); }));

    EXPECT_EQ(command->killProcess(), 0);

    // The shell looks at the signal when its read is over.
    m_programs.open();
    ASSERT_TRUE(tells());
    EXPECT_EQ(m_owner.told, Strings{"exited EXITED 9"});
}

TEST_F(PrivilegedCommandsTest, RunsTheWordsOfItsLine) {
    m_programs.write("stub", "printf '%s|' \"$@\" > $DIR/words");
    const auto command = make({.command = "stub", .arguments = {"-i", "eth0", " -v x"}});

    ASSERT_EQ(command->runProcess(), 0);

    ASSERT_TRUE(tells());
    EXPECT_EQ(m_programs.text("words"), "-ieth0|-v|x|");
}

TEST_F(PrivilegedCommandsTest, RedirectsTheStreamsThatHavePaths) {
    m_programs.write("stub", "read line; echo out $line; echo err $line >&2");
    m_programs.writeFile("in", "hello\n");
    const auto command = make({.command = "stub",
                               .stdin_path = m_programs.file("in"),
                               .stdout_path = m_programs.file("out"),
                               .stderr_path = m_programs.file("err")});

    ASSERT_EQ(command->runProcess(), 0);

    ASSERT_TRUE(tells());
    EXPECT_EQ(m_programs.text("out"), "out hello\n");
    EXPECT_EQ(m_programs.text("err"), "err hello\n");
}

TEST_F(PrivilegedCommandsTest, GivesTheOtherStreamsTheNullDevice) {
    m_programs.write("stub",
                     "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\n"
                     "echo \"$streams\" > $DIR/streams");
    const auto command = make({.command = "stub"});

    ASSERT_EQ(command->runProcess(), 0);

    ASSERT_TRUE(tells());
    EXPECT_EQ(m_programs.text("streams"), "/dev/null\n/dev/null\n/dev/null\n");
}

TEST_F(PrivilegedCommandsTest, RunsNothingWithoutACommand) {
    const auto command = make({});

    EXPECT_EQ(command->runProcess(), -1);

    EXPECT_FALSE(command->hasProcess());
    EXPECT_EQ(command->killProcess(), -1);
}

TEST_F(PrivilegedCommandsTest, AnswersAFailedFork) {
    const auto command = make({.command = "stub"});
    failing_calls::fork_error = ENOMEM;

    EXPECT_EQ(command->runProcess(), -1);
    failing_calls::fork_error = 0;

    EXPECT_FALSE(command->hasProcess());
}

TEST_F(PrivilegedCommandsTest, MayBeDestroyedWhenItTellsItsEnd) {
    auto command = make({.command = "true"});
    m_owner.then = [&] { command.reset(); };
    ASSERT_EQ(command->runProcess(), 0);

    ASSERT_TRUE(tells());

    EXPECT_EQ(command, nullptr);
}

TEST_F(PrivilegedCommandsTest, LeavesItsProcessAloneWhenItIsDestroyed) {
    m_programs.write("stub", "touch $DIR/started\nread answer < $GATE\ntouch $DIR/survived");
    auto command = make({.command = "stub"});
    ASSERT_EQ(command->runProcess(), 0);
    ASSERT_TRUE(m_loop.turnUntil([this] { return m_programs.has("started"); }));

    command.reset();
    m_programs.open();

    // The monitor reaps it; then there is no child left.
    ASSERT_TRUE(
        m_loop.turnUntil([] { return waitid(P_ALL, 0, nullptr, WEXITED | WNOHANG | WNOWAIT) == -1; }));
    EXPECT_TRUE(m_programs.has("survived"));
    EXPECT_EQ(m_owner.told, Strings{});
}
