// SPDX-License-Identifier: MIT

#pragma once

// FailingCalls: system calls of this test program that fail, or whose child fails, on demand.
namespace failing_calls {

// The errno with which the call fails until it is 0 again.
extern int fork_error;
extern int daemon_error;
extern int pipe2_error;
extern int signalfd_error;
extern int socketpair_error;
// Every child is killed, and has ended, before fork() returns.
extern bool kill_forked_children;

}  // namespace failing_calls
