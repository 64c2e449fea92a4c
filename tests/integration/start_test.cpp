// SPDX-License-Identifier: MIT

#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "gtest/gtest.h"

#include "RunningUnit.h"

namespace {

using Environment = std::map<std::string, std::string>;

// The daemon alone, in a directory with a configuration that a test may spoil.
class Start : public testing::Test {
  protected:
    // The bytes that are on file when the program has ended by itself.
    std::string OutputOf(const std::vector<std::string>& arguments, int* status) {
        Program program(WEB_APP_PROGRAM, arguments, DaemonEnvironment(), m_unit.directory() / "out");
        *status = program.awaitEnd().value_or(-1);
        return program.output();
    }

    [[nodiscard]] Environment DaemonEnvironment() const {
        return {{"CBUS_ADDR", m_unit.busAddress()}, {"MRV_JSON_RPC_TEST", "1"}};
    }

    // The same from a shell that has closed descriptors 0, 1 and 2.
    void RunWithoutDescriptors(std::vector<std::string> arguments, int* status) {
        arguments.insert(arguments.begin(), {"-c", "exec \"$0\" \"$@\" <&- >&- 2>&-", WEB_APP_PROGRAM});
        Program program("/bin/sh", arguments, DaemonEnvironment(), m_unit.directory() / "out");
        *status = program.awaitEnd().value_or(-1);
    }

    enum class Job { kForeground, kBackground };

    // In the leader of a terminal's session: goes on in a child whose process group is not the terminal's foreground
    // one, and ends with it.
    static void BecomeBackgroundJob() {
        const pid_t child = fork();
        if (child == 0) {
            setpgid(0, 0);
            return;
        }
        waitpid(child, nullptr, 0);
        _exit(0);
    }

    // What it writes to a terminal whose job it is, until it has ended by itself or left the terminal.
    std::string TerminalOutputOf(const std::vector<std::string>& arguments, Job job = Job::kForeground) {
        std::vector<char*> argv{const_cast<char*>(WEB_APP_PROGRAM)};
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        int terminal = -1;
        const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
        if (child == 0) {
            for (const auto& [name, value] : DaemonEnvironment()) {
                setenv(name.c_str(), value.c_str(), 1);
            }
            // Its end hangs the terminal up, perhaps before the daemon that it left behind is in a session of its own.
            signal(SIGHUP, SIG_IGN);
            if (job == Job::kBackground) {
                BecomeBackgroundJob();
            }
            execv(argv[0], argv.data());
            _exit(127);
        }
        const UniqueFd owned(terminal);
        std::string output;
        char piece[1000];
        for (ssize_t count = 0; (count = read(terminal, piece, sizeof piece)) > 0;) {
            output.append(piece, static_cast<std::size_t>(count));
        }
        waitpid(child, nullptr, 0);
        return output;
    }

    static int AwaitPid(const std::string& pid_file) {
        int pid = 0;
        for (int i = 0; i < 500 && !(std::ifstream(pid_file) >> pid); ++i) {
            usleep(10000);
        }
        return pid;
    }

    // The status of the first answer that is 200, else of the last one.
    int AwaitAnswer(const std::string& path) {
        HttpResponse response;
        for (int i = 0; i < 500 && response.status != 200; ++i) {
            HttpClient client = m_unit.http();
            response = client.connected() ? client.request("GET", path) : HttpResponse{};
            usleep(10000);
        }
        return response.status;
    }

    // Numbers 0 to 2 must not have become a socket, a file or the bus.
    static void ExpectNothingOnTheStandardDescriptors(int pid) {
        for (const char* number : {"0", "1", "2"}) {
            const std::filesystem::path link = "/proc/" + std::to_string(pid) + "/fd/" + number;
            std::error_code none;
            const std::string target = std::filesystem::read_symlink(link, none).string();
            EXPECT_TRUE(none || target == "/" || target == "/dev/null") << number << " is " << target;
        }
    }

    [[nodiscard]] std::string PidFile() const { return m_unit.directory() / "pid"; }
    [[nodiscard]] std::vector<std::string> DaemonArguments() const {
        return {"-c", m_unit.directory().string(), "-d", PidFile()};
    }

    // After a start with DaemonArguments() whose first process has ended with that status.
    void ExpectAServingDaemon(int status) {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        const int pid = AwaitPid(PidFile());
        ASSERT_GT(pid, 0);
        EXPECT_EQ(AwaitAnswer("/system/info"), 200);
        ExpectNothingOnTheStandardDescriptors(pid);
        EXPECT_EQ(kill(pid, SIGTERM), 0);
    }

    RunningUnit m_unit;
};

TEST_F(Start, TheUsageIsPrintedWhateverElseIsAsked) {
    int status = -1;

    const std::string output = OutputOf({"-l", "3", "-h", "-c", "/nowhere"}, &status);

    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const std::string name = WEB_APP_PROGRAM;
    EXPECT_EQ(output, name + " usage:\n\n" + name + " [-h] [-d:] [-c:] [-l:]\n\n" +
                          "-h                          prints this message.\n"
                          "-c <path/to/config/file>    path to configuration file.\n"
                          "-d <pidfile>                run as daemon.\n"
                          "-l <level>                  set logging level to <level> (levels 0-7).\n\n");
}

TEST_F(Start, AMissingConfigurationEndsItWithTheTextOfTheAssertion) {
    int status = 0;

    const std::string output = OutputOf({"-c", "/nowhere"}, &status);

    EXPECT_NE(status, 0);
    EXPECT_NE(output.find("parseConfig(cfgPath)"), std::string::npos) << output;
}

TEST_F(Start, AMissingBusEndsItWithTheTextOfTheAssertion) {
    int status = 0;

    const std::string output = OutputOf({"-c", m_unit.directory().string()}, &status);

    EXPECT_NE(status, 0);
    EXPECT_NE(output.find("m_cbusConnection"), std::string::npos) << output;
}

TEST_F(Start, TheForegroundJobOfATerminalLogsToIt) {
    const std::string output = TerminalOutputOf({"-c", m_unit.directory().string()});

    EXPECT_EQ(output.find("[debug]: (src/web_app) Using preliminary log level 7.\r\n"), 0U) << output;
}

TEST_F(Start, ABackgroundJobOfATerminalLogsNothingToIt) {
    const std::string output = TerminalOutputOf({"-c", m_unit.directory().string()}, Job::kBackground);

    EXPECT_EQ(output.find("[debug]"), std::string::npos) << output;
    EXPECT_NE(output.find("m_cbusConnection"), std::string::npos) << output;
}

TEST_F(Start, ThePreliminaryLevelIsLoggedAsClamped) {
    const std::string output = TerminalOutputOf({"-c", m_unit.directory().string(), "-l", "9"});

    EXPECT_NE(output.find("Using preliminary log level 7."), std::string::npos) << output;
}

TEST_F(Start, WithoutATerminalNothingIsLoggedToStandardOutput) {
    int status = 0;

    const std::string output = OutputOf({"-c", m_unit.directory().string()}, &status);

    EXPECT_EQ(output.find("[debug]"), std::string::npos) << output;
}

TEST_F(Start, AnExistingPidFileEndsItBeforeItDetaches) {
    int status = 0;
    const std::string pid_file = m_unit.directory() / "pid";
    std::ofstream{pid_file} << "1";

    const std::string output = OutputOf({"-c", m_unit.directory().string(), "-d", pid_file}, &status);

    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(output, pid_file + " already exists\n");
}

TEST_F(Start, SigtermEndsTheForegroundProcessWithStatusOne) {
    m_unit.start();

    m_unit.daemon().signal(SIGTERM);
    const int status = m_unit.daemon().awaitEnd().value_or(0);

    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
}

TEST_F(Start, BusAndDatabaseEndCleanlyOnSigterm) {
    m_unit.startBus();
    m_unit.startDatabase();

    m_unit.database().signal(SIGTERM);
    EXPECT_EQ(m_unit.database().awaitEnd().value_or(-1), 0);
    m_unit.bus().signal(SIGTERM);
    EXPECT_EQ(m_unit.bus().awaitEnd().value_or(-1), 0);
}

TEST_F(Start, ADaemonDetachesAndWritesItsPidFile) {
    m_unit.startBus();
    m_unit.startDatabase();
    int status = -1;

    OutputOf(DaemonArguments(), &status);

    ExpectAServingDaemon(status);
}

TEST_F(Start, ADaemonStartedFromATerminalLogsNothingToIt) {
    m_unit.startBus();
    m_unit.startDatabase();

    const std::string output = TerminalOutputOf(DaemonArguments());

    EXPECT_EQ(output, "");
    ExpectAServingDaemon(0);
}

// No end of the daemon removes the file: that is the affair of who starts it.
TEST_F(Start, ADaemonThatWasKilledUnderRequestsStartsAgainOnceItsPidFileIsRemoved) {
    m_unit.startBus();
    m_unit.startDatabase();
    int status = -1;
    OutputOf(DaemonArguments(), &status);
    const int pid = AwaitPid(PidFile());
    ASSERT_GT(pid, 0);
    ASSERT_EQ(AwaitAnswer("/system/info"), 200);
    std::atomic<int> answers = 0;
    std::thread requests([&] {
        HttpClient client = m_unit.http();
        while (client.request("GET", "/system/status").status == 200) {
            ++answers;
        }
    });
    for (int i = 0; i < 500 && answers < 20; ++i) {
        usleep(10000);
    }

    kill(pid, SIGKILL);
    requests.join();

    EXPECT_GE(answers, 20);
    EXPECT_EQ(OutputOf(DaemonArguments(), &status), PidFile() + " already exists\n");
    std::filesystem::remove(PidFile());
    OutputOf(DaemonArguments(), &status);
    ExpectAServingDaemon(status);
}

TEST_F(Start, ADaemonServesThoughItWasStartedWithoutStandardDescriptors) {
    m_unit.startBus();
    m_unit.startDatabase();
    int status = -1;

    RunWithoutDescriptors(DaemonArguments(), &status);

    ExpectAServingDaemon(status);
}

}  // namespace
