// SPDX-License-Identifier: MIT

#include "runtime/px_signal.h"

#include <execinfo.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

#include "runtime/px_console.h"
#include "runtime/px_panic.h"

namespace {

void ignore_signal(int) {}

// exit() is not safe in a handler by the book, yet wanted: what has been registered for the end of the process runs.
void exit_on_signal(int) {
    std::exit(1);
}

// Nothing here is safe by the book either: the process has nothing left to lose but its last words.
void print_backtrace_and_exit(int sig, siginfo_t*, void*) {
    px_printf("*** %s: signal=%d\n", "signal_handler", sig);
    void* frames[16];
    const int count = backtrace(frames, 16);
    px_printf("Backtrace:\n");
    backtrace_symbols_fd(frames, count, STDOUT_FILENO);
    px_printf("*** %s: exit\n", "signal_handler");
    std::exit(1);
}

struct sigaction default_action(int sig) {
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    switch (sig) {
        case SIGPIPE:
            action.sa_handler = ignore_signal;
            action.sa_flags = SA_RESTART;
            break;
        case SIGINT:
        case SIGTERM:
            action.sa_handler = exit_on_signal;
            break;
        default:
            action.sa_sigaction = print_backtrace_and_exit;
            action.sa_flags = SA_SIGINFO;
            break;
    }
    return action;
}

}  // namespace

void px_set_sig_handler(int sig, void (*handler)(int)) {
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    if (sigaction(sig, &action, nullptr) != 0) {
        px_panic("Signal %d handler install failed (%s)\n", sig, std::strerror(errno));
    }
}

int px_set_default_sig_handlers() {
    int result = 0;
    for (const int sig : {SIGILL, SIGABRT, SIGFPE, SIGSEGV, SIGBUS, SIGINT, SIGTERM, SIGPIPE}) {
        const struct sigaction action = default_action(sig);
        result = sigaction(sig, &action, nullptr);
    }
    return result;
}

int os_sys_init() {
    return px_set_default_sig_handlers();
}
