// SPDX-License-Identifier: MIT

#include "FailingCalls.h"

#include <dlfcn.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "ProcessLoop.h"

namespace failing_calls {

int fork_error = 0;
int daemon_error = 0;
int pipe2_error = 0;
int signalfd_error = 0;
int socketpair_error = 0;
bool kill_forked_children = false;

}  // namespace failing_calls

namespace {

template <class Function>
Function* real(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// Looked up before any fork: a child of one makes no such call.
const auto real_fork = real<pid_t()>("fork");
const auto real_daemon = real<int(int, int)>("daemon");
const auto real_pipe2 = real<int(int*, int)>("pipe2");
const auto real_signalfd = real<int(int, const sigset_t*, int)>("signalfd");
const auto real_socketpair = real<int(int, int, int, int*)>("socketpair");

int fail(int error) {
    errno = error;
    return -1;
}

}  // namespace

// These replace the C library's functions for the whole test program.

pid_t fork() noexcept {
    if (failing_calls::fork_error != 0) {
        return fail(failing_calls::fork_error);
    }
    const pid_t child = real_fork();
    if (child > 0 && failing_calls::kill_forked_children) {
        kill(child, SIGKILL);
        ProcessLoop::awaitEnd(child);
    }
    return child;
}

int daemon(int keep_directory, int keep_streams) noexcept {
    return failing_calls::daemon_error != 0 ? fail(failing_calls::daemon_error)
                                            : real_daemon(keep_directory, keep_streams);
}

int pipe2(int* ends, int flags) noexcept {
    return failing_calls::pipe2_error != 0 ? fail(failing_calls::pipe2_error) : real_pipe2(ends, flags);
}

int signalfd(int fd, const sigset_t* signals, int flags) noexcept {
    return failing_calls::signalfd_error != 0 ? fail(failing_calls::signalfd_error)
                                              : real_signalfd(fd, signals, flags);
}

int socketpair(int domain, int type, int protocol, int* ends) noexcept {
    return failing_calls::socketpair_error != 0 ? fail(failing_calls::socketpair_error)
                                                : real_socketpair(domain, type, protocol, ends);
}
