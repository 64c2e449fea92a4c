// SPDX-License-Identifier: MIT

#include "src/frame/web_app.h"

#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "runtime/logging.h"
#include "src/base/standard_descriptors.h"
#include "src/frame/Backend.h"
#include "src/frame/command_line.h"

namespace {

// A daemon, and a process that is not the foreground job of its terminal, has nobody who reads the console.
void choose_logger(bool runs_as_daemon) {
    const bool in_foreground = tcgetpgrp(STDIN_FILENO) == getpgrp();
    set_logger(in_foreground && !runs_as_daemon ? log_console : log_syslog, nullptr);
    std::setbuf(stdout, nullptr);
}

void set_preliminary_level(int level) {
    set_log_mask(log_up_to(level));
    logger_function(7, "src/web_app", "Using preliminary log level %d.", level);
}

}  // namespace

int web_app_run(int argc, char** argv) {
    // A starter may have closed 0, 1 and 2. What is opened from here on must not get these numbers: a daemon closes
    // them when it detaches, and would close its own event loop.
    if (!standard_descriptors_reserve()) {
        std::fputs("cannot reserve the standard descriptors\n", stderr);
        return 1;
    }
    const CommandLine command_line = command_line_parse(argc, argv);
    // The HTTP server's instance id is drawn from this generator: it has to differ between runs, no more.
    srandom(static_cast<unsigned>(time(nullptr)));
    if (command_line.wants_usage) {
        command_line_print_usage(argv[0]);
        std::exit(0);
    }
    choose_logger(command_line.runs_as_daemon);
    set_preliminary_level(command_line.log_level);

    Backend backend(command_line.config_path);
    std::signal(SIGPIPE, SIG_IGN);
    if (command_line.runs_as_daemon) {
        backend.daemonize(command_line.pid_file.c_str());
    } else {
        backend.onRun();
    }
    return 0;
}
