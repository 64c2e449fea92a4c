// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

// Logging: every log line of the program is a call through one function pointer, filtered by a mask of syslog
// severities. A call names the level, the module that speaks and a printf format:
//
//     logger_function(7, "src/HabConfig", "log level %d", level);
//
// Levels:  3 error, 4 warning, 5 notice, 6 info, 7 debug (0..2 are emergency, alert and critical).
// Threads: set_logger() belongs into the program's start, before a second thread exists; set_log_mask() and
//          the sinks may run on any thread, and a new mask holds from the next line that any thread logs.
// Errors:  none; a message of more than 299 characters is cut.

using logger_function_t = void (*)(int level, const char* file, const char* format, ...);

// The active sink. Until set_logger() is called it is log_discard.
extern void (*logger_function)(int level, const char* file, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The mask that a sink applied last, and the one that set_log_mask() asked for.
extern std::atomic<std::uint32_t> current_log_mask;
extern std::atomic<std::uint32_t> new_log_mask;

inline constexpr std::size_t kLogIdentitySize = 20;
extern char log_identity[kLogIdentitySize];
extern const char* p_log_identity;  // what openlog() gets: log_identity, or null for the program's own name

// Installs the sink (never null). A non-null identity is copied, cut to 19 characters; null selects the
// default.
void set_logger(logger_function_t function, const char* identity);

// The bit of one level, 0 when the level (modulo 256) is 32 or more.
[[nodiscard]] std::uint32_t log_mask(int level);

// The bits of all levels from 0 to this one; all 32 when level + 1 (modulo 256) is 32 or more.
[[nodiscard]] std::uint32_t log_up_to(int level);

// Ignores masks of 256 and more: they hold bits of levels that do not exist.
void set_log_mask(std::uint32_t mask);

// The sinks. log_console writes "[level]: (file) message" to standard output, log_syslog sends the same text
// to syslog, which does the filtering itself.
void log_discard(int level, const char* file, const char* format, ...) __attribute__((format(printf, 3, 4)));
void log_console(int level, const char* file, const char* format, ...) __attribute__((format(printf, 3, 4)));
void log_syslog(int level, const char* file, const char* format, ...) __attribute__((format(printf, 3, 4)));
