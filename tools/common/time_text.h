// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

// "2026-11-21T14:03:05.042": local time, to the millisecond or the microsecond.
// Units: microseconds since 1970. What lies outside the years that a calendar has is written as that number.
enum class TimePrecision { kMilliseconds = 3, kMicroseconds = 6 };
[[nodiscard]] std::string time_text(std::uint64_t microseconds, TimePrecision precision);

// The wall clock in that unit.
[[nodiscard]] std::uint64_t time_now_us();
