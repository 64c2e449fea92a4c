// SPDX-License-Identifier: MIT

#pragma once

// Installs the handler with an empty mask and SA_RESTART. A signal that cannot be handled is a panic.
void px_set_sig_handler(int sig, void (*handler)(int));

// Installs the program's default handlers: SIGPIPE is swallowed, SIGINT and SIGTERM call exit(1) so that the
// registered exit handlers run, the fatal signals print a backtrace to standard output and exit with
// status 1. Replaces whatever handlers were there. Answers the result of the last sigaction().
int px_set_default_sig_handlers();
int os_sys_init();  // the same call under the name that the other programs of the unit use
