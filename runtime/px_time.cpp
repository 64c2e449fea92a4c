// SPDX-License-Identifier: MIT

#include "runtime/px_time.h"

#include <sys/time.h>

#include <atomic>

namespace {

constexpr std::time_t kFirstValidTime = 1420070400;  // 2015-01-01 00:00:00 UTC

timespec monotonic_now() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

timeval wall_clock_now() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    return now;
}

}  // namespace

std::time_t px_time() {
    return wall_clock_now().tv_sec;
}

int px_time_tvms(px_tvms_t* out) {
    const timeval now = wall_clock_now();
    out->seconds = now.tv_sec;
    out->milliseconds = static_cast<unsigned>(now.tv_usec / 1000);
    return 1;
}

int px_stime(std::time_t seconds) {
    const timeval wanted = {.tv_sec = seconds, .tv_usec = 0};
    return settimeofday(&wanted, nullptr);
}

bool px_time_valid() {
    static std::atomic<bool> was_valid{false};
    if (!was_valid) {
        was_valid = px_time() >= kFirstValidTime;
    }
    return was_valid;
}

std::uint32_t px_time_ms() {
    const timespec now = monotonic_now();
    return static_cast<std::uint32_t>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

std::uint32_t px_time_us() {
    const timespec now = monotonic_now();
    return static_cast<std::uint32_t>(now.tv_sec * 1000000 + now.tv_nsec / 1000);
}

std::uint32_t px_time_ms_elapsed(std::uint32_t start) {
    return px_time_ms() - start;
}

std::uint32_t px_time_us_elapsed(std::uint32_t start) {
    return px_time_us() - start;
}

std::uint32_t px_time_us_delay(std::uint32_t us) {
    const std::uint32_t start = px_time_us();
    std::uint32_t waited = 0;
    while (waited < us) {
        waited = px_time_us_elapsed(start);
    }
    return waited;
}

std::uint32_t px_time_ms_delay(std::uint32_t ms) {
    return px_time_us_delay(1000 * ms);
}

std::tm* px_utc_time_to_tm(std::time_t seconds, std::tm* tm) {
    return gmtime_r(&seconds, tm);
}

std::size_t px_utc_strftime(char* buffer, std::size_t size, const char* format, std::time_t seconds) {
    std::tm tm = {};
    px_utc_time_to_tm(seconds, &tm);
    return std::strftime(buffer, size, format, &tm);
}

// mktime() and not timegm(): the callers hand in local fields, whatever the name promises.
std::time_t px_utc_tm_to_time(std::tm* tm) {
    return std::mktime(tm);
}
