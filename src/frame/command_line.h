// SPDX-License-Identifier: MIT

#pragma once

#include <string>

// What the daemon was told on its command line.
struct CommandLine {
    bool wants_usage = false;       // -h
    bool runs_as_daemon = false;    // -d with a value
    std::string pid_file;           // the value of -d; empty: no pid file
    std::string config_path = ".";  // -c
    int log_level = 7;              // -l, 0..7
};

// Reads "-h", "-c PATH", "-d PIDFILE" and "-l LEVEL". Options it takes vanish from argc and argv; what it does
// not know stays there and is no error. A level that is no number is 0; one outside 0..7 is clamped.
[[nodiscard]] CommandLine command_line_parse(int& argc, char** argv);

// Prints the usage text to standard output; `program` is the name that the program was called by.
void command_line_print_usage(const char* program);
