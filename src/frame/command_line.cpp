// SPDX-License-Identifier: MIT

#include "src/frame/command_line.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "src/base/options.h"

namespace {

int clamp_level(const std::string& text) {
    return static_cast<int>(std::clamp(std::strtol(text.c_str(), nullptr, 10), 0L, 7L));
}

}  // namespace

CommandLine command_line_parse(int& argc, char** argv) {
    const common::Options options = common::Options::extract("h,c:,d:,l:", argc, argv);
    CommandLine result;
    result.wants_usage = options.contains("h");
    result.runs_as_daemon = options.contains("d");
    result.pid_file = options.get("d");
    if (options.contains("c")) {
        result.config_path = options.get("c");
    }
    if (options.contains("l")) {
        result.log_level = clamp_level(options.get("l"));
    }
    return result;
}

void command_line_print_usage(const char* program) {
    std::printf("%s usage:\n\n", program);
    std::printf("%s [-h] [-d:] [-c:] [-l:]\n\n", program);
    std::puts("-h                          prints this message.");
    std::puts("-c <path/to/config/file>    path to configuration file.");
    std::puts("-d <pidfile>                run as daemon.");
    std::puts("-l <level>                  set logging level to <level> (levels 0-7).");
    std::puts("");
}
