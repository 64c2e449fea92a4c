#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <vector>

#include "runtime/logging.h"

// RecordedLog: the sink of the log while a test runs; its lines read "level module text".
class RecordedLog {
  public:
    RecordedLog() {
        lines().clear();
        set_logger(&RecordedLog::sink, nullptr);
    }
    ~RecordedLog() { set_logger(log_discard, nullptr); }
    RecordedLog(const RecordedLog&) = delete;
    RecordedLog& operator=(const RecordedLog&) = delete;

    static long count(const std::string& line) { return std::count(lines().begin(), lines().end(), line); }
    // How many lines begin so.
    static long countOf(const std::string& beginning) {
        return std::count_if(lines().begin(), lines().end(),
                             [&beginning](const std::string& line) { return line.starts_with(beginning); });
    }

  private:
    static std::vector<std::string>& lines() {
        static std::vector<std::string> recorded;
        return recorded;
    }

    static void sink(int level, const char* file, const char* format, ...)
        __attribute__((format(printf, 3, 4))) {
        char text[500];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        lines().push_back(std::to_string(level) + " " + file + " " + text);
    }
};
