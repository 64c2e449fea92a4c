// SPDX-License-Identifier: MIT

#include "src/base/daemon.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "runtime/c_owner.h"
#include "runtime/logging.h"

using testing::ExitedWithCode;

namespace {

// A daemon that does what the test says, with its steps in reach.
class TestDaemon : public utilities::Daemon {
  public:
    explicit TestDaemon(std::function<int(TestDaemon&)> work = [](TestDaemon&) { return 0; })
        : m_work(std::move(work)) {}

    int onRun() override { return m_work(*this); }
    void onSignal(int sig) override { m_last_signal = sig; }
    void onExit() override { std::fputs("onExit", stderr); }

    using Daemon::createPidFile;
    int lastSignal() const { return m_last_signal; }

  private:
    std::function<int(TestDaemon&)> m_work;
    int m_last_signal = 0;
};

// Where a process of the test writes what it has seen; survives what daemonize() does to 0, 1 and 2.
int g_report = -1;

void report(const std::string& text) {
    EXPECT_EQ(write(g_report, text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

void report_log_line(int level, const char* file, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
void report_log_line(int level, const char* file, const char* format, ...) {
    dprintf(g_report, "[%d] %s: ", level, file);
    va_list args;
    va_start(args, format);
    vdprintf(g_report, format, args);
    va_end(args);
}

std::string read_to_end(int fd) {
    std::string text;
    char piece[256];
    for (ssize_t got = 0; (got = read(fd, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<std::size_t>(got));
    }
    return text;
}

int exit_code(int status) {
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

// daemonize() in a process of its own, and the daemon that comes out of it.
class DaemonDaemonize : public testing::Test {
  protected:
    DaemonDaemonize() {
        prctl(PR_SET_CHILD_SUBREAPER, 1);  // the daemon, whose parent ends, becomes this process's child
        m_pid_file = testing::TempDir() + "daemon_test_" + std::to_string(getpid()) + ".pid";
    }
    ~DaemonDaemonize() override { unlink(m_pid_file.c_str()); }

    void Daemonize(const std::string& pid_file, std::function<int(TestDaemon&)> work) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        const UniqueFd read_end(ends[0]);
        UniqueFd write_end(ends[1]);
        const pid_t caller = fork();
        if (caller == 0) {
            RunCaller(write_end.get(), pid_file, std::move(work));
        }
        write_end.reset();
        m_report = read_to_end(read_end.get());
        CollectExits(caller);
    }

    [[noreturn]] static void RunCaller(int report_to, const std::string& pid_file,
                                       std::function<int(TestDaemon&)> work) {
        g_report = report_to;
        set_logger(report_log_line, nullptr);
        TestDaemon daemon(std::move(work));
        const int result = daemon.daemonize(pid_file.c_str());
        _exit(result);
    }

    void CollectExits(pid_t caller) {
        int status = 0;
        for (pid_t pid = 0; (pid = wait(&status)) > 0;) {
            (pid == caller ? m_caller_exit : m_daemon_exit) = exit_code(status);
        }
    }

    std::string PidFileContents() const {
        std::ifstream file(m_pid_file);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string m_pid_file;
    std::string m_report;
    std::optional<int> m_caller_exit;
    std::optional<int> m_daemon_exit;  // none: nothing was forked
};

using DaemonDeathTest = DaemonDaemonize;

// The descriptor that is open on the file, or -1.
int descriptor_of(const std::string& path) {
    for (int fd = 3; fd < 256; ++fd) {
        char target[PATH_MAX] = "";
        const std::string link = "/proc/self/fd/" + std::to_string(fd);
        if (readlink(link.c_str(), target, sizeof target - 1) > 0 && path == target) {
            return fd;
        }
    }
    return -1;
}

}  // namespace

TEST_F(DaemonDeathTest, RefusesASecondInstance) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto make_two = [] {
        const TestDaemon first;
        const TestDaemon second;
    };

    EXPECT_EXIT(make_two(), ExitedWithCode(1), "^there can be only one daemon instance$");
}

TEST_F(DaemonDeathTest, RefusesASignalWithoutAnInstance) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_DEATH(utilities::Daemon::signalHandler(SIGUSR1),
                 "src/daemon:[0-9]+: static void utilities::Daemon::signalHandler\\(int\\): "
                 "Assertion `theDaemon != __null' failed");
}

TEST_F(DaemonDeathTest, RunsOnExitAndFailsWhenTerminatedWithoutAPidFile) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_EXIT(TestDaemon().terminate(0), ExitedWithCode(1), "^onExit$");
}

TEST_F(DaemonDeathTest, RunsOnExitAtATerminationSignal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_EXIT(TestDaemon().handleSignal(SIGTERM), ExitedWithCode(1), "^onExit$");
    EXPECT_EXIT(TestDaemon().handleSignal(SIGINT), ExitedWithCode(1), "^onExit$");
    EXPECT_EXIT(TestDaemon().handleSignal(SIGKILL), ExitedWithCode(1), "^onExit$");
}

TEST(Daemon, MakesRoomForAnotherInstanceAtItsEnd) {
    { const TestDaemon first; }
    TestDaemon second;

    utilities::Daemon::signalHandler(SIGUSR1);

    EXPECT_EQ(second.lastSignal(), SIGUSR1);
}

TEST(Daemon, PassesARegisteredSignalToOnSignal) {
    TestDaemon daemon;

    daemon.registerSignal(SIGUSR2);
    std::raise(SIGUSR2);
    std::signal(SIGUSR2, SIG_DFL);

    EXPECT_EQ(daemon.lastSignal(), SIGUSR2);
}

TEST(Daemon, RegistersNoTerminationSignal) {
    TestDaemon daemon;

    for (const int sig : {SIGINT, SIGTERM, SIGKILL}) {
        daemon.registerSignal(sig);
    }

    EXPECT_EQ(std::signal(SIGINT, SIG_DFL), SIG_DFL);
    EXPECT_EQ(std::signal(SIGTERM, SIG_DFL), SIG_DFL);
}

TEST_F(DaemonDaemonize, RunsOnRunInAChildWithoutAPidFile) {
    Daemonize("", [](TestDaemon&) {
        report("ran");
        return 7;
    });

    EXPECT_EQ(m_report, "ran");
    EXPECT_EQ(m_caller_exit, 0);
    EXPECT_EQ(m_daemon_exit, 7);
}

TEST_F(DaemonDaemonize, LeadsASessionOfItsOwn) {
    Daemonize("", [](TestDaemon&) { return getsid(0) == getpid() ? 0 : 1; });

    EXPECT_EQ(m_daemon_exit, 0);
}

TEST_F(DaemonDaemonize, ClearsTheFileModeMask) {
    Daemonize("", [](TestDaemon&) { return static_cast<int>(umask(0)); });

    EXPECT_EQ(m_daemon_exit, 0);
}

TEST_F(DaemonDaemonize, KeepsItsWorkingDirectory) {
    char directory[PATH_MAX] = "";
    ASSERT_NE(getcwd(directory, sizeof directory), nullptr);

    Daemonize("", [](TestDaemon&) {
        char here[PATH_MAX] = "";
        report(getcwd(here, sizeof here) != nullptr ? here : "none");
        return 0;
    });

    EXPECT_EQ(m_report, directory);
}

TEST_F(DaemonDaemonize, ClosesTheStandardDescriptors) {
    Daemonize("", [](TestDaemon&) {
        char byte = 0;
        const bool closed = read(0, &byte, 1) < 0 && errno == EBADF && write(1, "x", 1) < 0 &&
                            errno == EBADF && write(2, "x", 1) < 0 && errno == EBADF;
        return closed ? 0 : 1;
    });

    EXPECT_EQ(m_daemon_exit, 0);
}

TEST_F(DaemonDaemonize, GivesNoLaterDescriptorAStandardNumber) {
    Daemonize("", [](TestDaemon&) { return open("/dev/null", O_RDONLY | O_CLOEXEC) > 2 ? 0 : 1; });

    EXPECT_EQ(m_daemon_exit, 0);
}

TEST_F(DaemonDaemonize, WritesItsProcessIdIntoThePidFile) {
    Daemonize(m_pid_file, [](TestDaemon&) {
        report(std::to_string(getpid()));
        return 0;
    });

    EXPECT_EQ(PidFileContents(), m_report);
    EXPECT_NE(m_report, "");
}

TEST_F(DaemonDaemonize, KeepsThePidFileOpenForItselfAlone) {
    const std::string path = m_pid_file;

    Daemonize(path, [&path](TestDaemon&) {
        const int fd = descriptor_of(path);
        return fd > 2 && fcntl(fd, F_GETFD) == FD_CLOEXEC ? 0 : 1;
    });

    EXPECT_EQ(m_daemon_exit, 0);
}

TEST_F(DaemonDaemonize, LeavesThePidFileWhenOnRunReturns) {
    Daemonize(m_pid_file, [](TestDaemon&) { return 0; });

    EXPECT_EQ(access(m_pid_file.c_str(), F_OK), 0);
}

TEST_F(DaemonDaemonize, EndsBeforeForkingWhenThePidFileExists) {
    std::ofstream(m_pid_file) << "1";

    Daemonize(m_pid_file, [](TestDaemon&) { return 0; });

    EXPECT_EQ(m_caller_exit, 1);
    EXPECT_EQ(m_daemon_exit, std::nullopt);
    EXPECT_EQ(PidFileContents(), "1");
}

TEST_F(DaemonDeathTest, SaysOnStandardOutputThatThePidFileExists) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto daemonize = [] {
        dup2(STDERR_FILENO, STDOUT_FILENO);
        TestDaemon().daemonize("/proc/self/status");
    };

    EXPECT_EXIT(daemonize(), ExitedWithCode(1), "/proc/self/status already exists\n$");
}

TEST_F(DaemonDaemonize, EndsTheChildWhenThePidFileCannotBeOpened) {
    Daemonize("/nowhere/web_app.pid", [](TestDaemon&) { return 0; });

    EXPECT_EQ(m_report, "[2] src/daemon: couldn't open /nowhere/web_app.pid");
    EXPECT_EQ(m_caller_exit, 0);
    EXPECT_EQ(m_daemon_exit, 1);
}

TEST_F(DaemonDaemonize, EndsTheChildWhenThePidFileCannotBeWritten) {
    const rlimit no_bytes{0, RLIM_INFINITY};
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &no_bytes);

    Daemonize(m_pid_file, [](TestDaemon&) { return 0; });
    setrlimit(RLIMIT_FSIZE, &before);

    EXPECT_EQ(m_report, "[2] src/daemon: couldn't write " + m_pid_file);
    EXPECT_EQ(m_daemon_exit, 1);
}

TEST_F(DaemonDaemonize, RefusesAPidFileThatAppearedAfterForking) {
    Daemonize(m_pid_file, [](TestDaemon& daemon) { return daemon.createPidFile() ? 0 : 3; });

    EXPECT_EQ(m_report, "[2] src/daemon: " + m_pid_file + " already exists");
    EXPECT_EQ(m_daemon_exit, 3);
}

TEST_F(DaemonDaemonize, RemovesThePidFileAtATerminationSignal) {
    Daemonize(m_pid_file, [](TestDaemon&) {
        std::raise(SIGTERM);
        return 9;
    });

    EXPECT_EQ(m_daemon_exit, 0);
    EXPECT_NE(access(m_pid_file.c_str(), F_OK), 0);
}

TEST_F(DaemonDaemonize, EndsWithOneAtATerminationSignalWithoutAPidFile) {
    Daemonize("", [](TestDaemon&) {
        std::raise(SIGINT);
        return 9;
    });

    EXPECT_EQ(m_report, "[2] src/daemon: couldn't delete (null)");
    EXPECT_EQ(m_daemon_exit, 1);
}

TEST_F(DaemonDaemonize, EndsWithTheGivenStatusWhenItTerminates) {
    Daemonize(m_pid_file, [](TestDaemon& daemon) {
        daemon.terminate(5);
        return 9;
    });

    EXPECT_EQ(m_daemon_exit, 5);
    EXPECT_NE(access(m_pid_file.c_str(), F_OK), 0);
}

TEST_F(DaemonDaemonize, EndsWithOneWhenThePidFileIsGone) {
    const std::string path = m_pid_file;

    Daemonize(path, [&path](TestDaemon& daemon) {
        unlink(path.c_str());
        daemon.terminate(5);
        return 9;
    });

    EXPECT_EQ(m_report, "[2] src/daemon: couldn't delete " + path);
    EXPECT_EQ(m_daemon_exit, 1);
}
