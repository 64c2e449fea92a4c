// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/logging.h"

// CapturedLog: takes the place of the log's sink while it lives; a line reads "3 src/HabSession: text". One at a
// time; loop thread only.
class CapturedLog {
  public:
    CapturedLog() {
        recorded().clear();
        set_logger(capture, nullptr);
    }
    ~CapturedLog() { set_logger(log_discard, nullptr); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    [[nodiscard]] const std::vector<std::string>& lines() const { return recorded(); }
    [[nodiscard]] long count(const std::string& line) const {
        return std::count(lines().begin(), lines().end(), line);
    }
    [[nodiscard]] bool has(const std::string& line) const { return count(line) > 0; }
    // How many lines begin so.
    [[nodiscard]] long countOf(const std::string& beginning) const {
        return std::count_if(lines().begin(), lines().end(),
                             [&beginning](const std::string& line) { return line.starts_with(beginning); });
    }

  private:
    static std::vector<std::string>& recorded() {
        static std::vector<std::string> lines;
        return lines;
    }

    __attribute__((format(printf, 3, 4))) static void capture(int level, const char* file, const char* format,
                                                              ...) {
        char text[1024];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        recorded().push_back(std::to_string(level) + " " + file + ": " + text);
    }
};
