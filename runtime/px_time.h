// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

// Clocks and UTC texts.
// Threads: all of them.
// Units:   px_time* of the wall clock in seconds; _ms and _us in milliseconds and microseconds of the
//          monotonic clock, unsigned 32-bit values that wrap.

struct px_tvms_t {
    std::time_t seconds;
    unsigned milliseconds;
};

[[nodiscard]] std::time_t px_time();
int px_time_tvms(px_tvms_t* out);  // always 1

// Sets the wall clock. Answers what settimeofday() answers: -1 with errno set without the right to do so.
int px_stime(std::time_t seconds);

// True once the wall clock has reached 2015-01-01 00:00:00 UTC, that is once somebody has set it. The first
// true answer is remembered: a clock that is later set back does not become invalid again.
[[nodiscard]] bool px_time_valid();

[[nodiscard]] std::uint32_t px_time_ms();
[[nodiscard]] std::uint32_t px_time_us();

// The time since start, right across one wrap of the clock.
[[nodiscard]] std::uint32_t px_time_ms_elapsed(std::uint32_t start);
[[nodiscard]] std::uint32_t px_time_us_elapsed(std::uint32_t start);

// Wait busily for at least this long; the answer is the number of microseconds that were waited.
std::uint32_t px_time_us_delay(std::uint32_t us);
std::uint32_t px_time_ms_delay(std::uint32_t ms);

// Breaks the seconds down as UTC.
std::tm* px_utc_time_to_tm(std::time_t seconds, std::tm* tm);

// strftime() of the UTC time (its extensions included, hence without a format check): answers the
// length stored, 0 when the buffer is too small.
std::size_t px_utc_strftime(char* buffer, std::size_t size, const char* format, std::time_t seconds);

// Reads the fields as LOCAL time, unlike the two functions above; normalises the fields of tm as mktime()
// does.
std::time_t px_utc_tm_to_time(std::tm* tm);
