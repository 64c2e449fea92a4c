#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/logging.h"

// CapturedLog: takes the place of the log's sink while it lives. One at a time; loop thread only.
class CapturedLog {
  public:
    CapturedLog() {
        lines().clear();
        set_logger(capture, nullptr);
    }
    ~CapturedLog() { set_logger(log_discard, nullptr); }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;

    // Whether a line like "3 src/HabSession: text" was logged.
    [[nodiscard]] bool has(const std::string& line) const {
        return std::find(lines().begin(), lines().end(), line) != lines().end();
    }

  private:
    static std::vector<std::string>& lines() {
        static std::vector<std::string> captured;
        return captured;
    }

    __attribute__((format(printf, 3, 4))) static void capture(int level, const char* file, const char* format,
                                                              ...) {
        char text[1024];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof(text), format, arguments);
        va_end(arguments);
        lines().push_back(std::to_string(level) + " " + file + ": " + text);
    }
};
