// SPDX-License-Identifier: MIT

#include "runtime/logging.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>

void (*logger_function)(int level, const char* file, const char* format, ...) = log_discard;
std::atomic<std::uint32_t> current_log_mask{0x7f};
std::atomic<std::uint32_t> new_log_mask{0x7f};
char log_identity[kLogIdentitySize];
const char* p_log_identity = nullptr;

namespace {

constexpr std::size_t kMessageSize = 300;

const char* level_name(int level) {
    static constexpr const char* kNames[] = {"emergency", "alert",  "critical", "error",
                                             "warning",   "notice", "info",     "debug"};
    return level >= 0 && level <= 7 ? kNames[level] : "?";
}

// What syslog filters by; at first it lets everything through.
std::atomic<std::uint32_t> syslog_mask{0xff};

// Answers whether the mask has changed since the last line.
bool apply_new_log_mask() {
    const std::uint32_t wanted = new_log_mask;
    // Most lines find no change: they only look, which costs nothing.
    return current_log_mask != wanted && current_log_mask.exchange(wanted) != wanted;
}

}  // namespace

void set_logger(logger_function_t function, const char* identity) {
    logger_function = function;
    if (identity == nullptr) {
        p_log_identity = nullptr;
        return;
    }
    std::snprintf(log_identity, sizeof log_identity, "%s", identity);
    p_log_identity = log_identity;
}

std::uint32_t log_mask(int level) {
    const auto bit = static_cast<std::uint8_t>(level);
    return bit < 32 ? std::uint32_t{1} << bit : 0;
}

std::uint32_t log_up_to(int level) {
    const auto bits = static_cast<std::uint8_t>(level + 1);
    return bits < 32 ? (std::uint32_t{1} << bits) - 1 : ~std::uint32_t{0};
}

void set_log_mask(std::uint32_t mask) {
    if (mask < 256) {
        new_log_mask = mask;
    }
}

void log_discard(int, const char*, const char*, ...) {}

void log_console(int level, const char* file, const char* format, ...) {
    apply_new_log_mask();
    if ((log_mask(level) & new_log_mask) == 0) {
        return;
    }
    char message[kMessageSize] = {};
    va_list args;
    va_start(args, format);
    std::vsnprintf(message, sizeof message, format, args);
    va_end(args);
    std::printf("[%s]: (%s) %s\n", level_name(level), file, message);
}

void log_syslog(int level, const char* file, const char* format, ...) {
    if (apply_new_log_mask()) {
        closelog();
        // A mask of no level at all would only ask for the one in force.
        if (const std::uint32_t mask = current_log_mask; mask != 0) {
            syslog_mask = mask;
            setlogmask(static_cast<int>(mask));
        }
    }
    // Before every line: the connection survives it, and a changed identity takes effect.
    openlog(p_log_identity, 0, LOG_USER);

    // syslog filters by its own mask, and every line is handed to it. A message that it is going to drop need not be
    // laid out for that: of a daemon in use most lines are debug lines that nobody asked for.
    char message[kMessageSize] = {};
    if ((syslog_mask & LOG_MASK(LOG_PRI(level))) != 0) {
        va_list args;
        va_start(args, format);
        std::vsnprintf(message, sizeof message, format, args);
        va_end(args);
    }
    syslog(level, "[%s]: (%s) %s", level_name(level), file, message);
}
