// SPDX-License-Identifier: MIT

#include "runtime/px_signal.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "runtime/px_panic.h"

using testing::ExitedWithCode;

// The handlers under test call exit() on purpose, which the thread sanitizer would report.
extern "C" const char* __tsan_default_options();
extern "C" const char* __tsan_default_options() {
    return "report_signal_unsafe=0";
}

namespace {

int signals_seen = 0;

void count_signal(int) {
    ++signals_seen;
}

// The backtrace goes to standard output; death tests look at standard error.
void UseDefaultHandlersWithOutputOnStderr() {
    dup2(STDERR_FILENO, STDOUT_FILENO);
    px_set_default_sig_handlers();
}

void RaiseUnderDefaultHandlers(int sig) {
    UseDefaultHandlersWithOutputOnStderr();
    std::raise(sig);
    _exit(7);
}

void say_goodbye() {
    [[maybe_unused]] const auto count = write(STDERR_FILENO, "goodbye", 7);
}

}  // namespace

TEST(PxSetSigHandler, InstallsTheHandler) {
    px_set_sig_handler(SIGUSR1, count_signal);

    std::raise(SIGUSR1);

    EXPECT_EQ(signals_seen, 1);
}

TEST(PxSetSigHandler, LetsInterruptedCallsRestart) {
    px_set_sig_handler(SIGUSR2, count_signal);

    struct sigaction installed = {};
    sigaction(SIGUSR2, nullptr, &installed);

    EXPECT_NE(installed.sa_flags & SA_RESTART, 0);
}

TEST(PxSetSigHandlerDeathTest, PanicsWhenTheSignalCannotBeHandled) {
    EXPECT_EXIT(px_set_sig_handler(SIGKILL, count_signal), testing::KilledBySignal(SIGABRT),
                "Signal 9 handler install failed \\(Invalid argument\\)");
}

TEST(PxDefaultSigHandlersDeathTest, SwallowSigpipe) {
    EXPECT_EXIT(RaiseUnderDefaultHandlers(SIGPIPE), ExitedWithCode(7), "");
}

TEST(PxDefaultSigHandlersDeathTest, RunTheExitHandlersOnSigtermAndSigint) {
    for (const int sig : {SIGTERM, SIGINT}) {
        EXPECT_EXIT(
            {
                std::atexit(say_goodbye);
                RaiseUnderDefaultHandlers(sig);
            },
            ExitedWithCode(1), "goodbye");
    }
}

TEST(PxDefaultSigHandlersDeathTest, PrintABacktraceOnFatalSignals) {
    for (const int sig : {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGBUS}) {
        EXPECT_EXIT(RaiseUnderDefaultHandlers(sig), ExitedWithCode(1),
                    "\\*\\*\\* signal_handler: signal=" + std::to_string(sig) +
                        "\nBacktrace:\n.*\\*\\*\\* signal_handler: exit");
    }
}

TEST(PxDefaultSigHandlersDeathTest, TurnAPanicIntoABacktraceAndStatusOne) {
    EXPECT_EXIT(
        {
            UseDefaultHandlersWithOutputOnStderr();
            px_panic("out of %s\n", "luck");
        },
        ExitedWithCode(1), "out of luck\n+\\*\\*\\* signal_handler: signal=6");
}

TEST(PxDefaultSigHandlersDeathTest, AnswerTheResultOfTheLastInstallation) {
    EXPECT_EXIT(_exit(px_set_default_sig_handlers() == 0 ? 7 : 8), ExitedWithCode(7), "");
    EXPECT_EXIT(_exit(os_sys_init() == 0 ? 7 : 8), ExitedWithCode(7), "");
}
