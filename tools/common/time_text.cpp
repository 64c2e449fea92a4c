// SPDX-License-Identifier: MIT

#include "tools/common/time_text.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace {

constexpr std::uint64_t kMicrosecondsPerSecond = 1'000'000;
constexpr std::uint64_t kLastSecond = 253'402'300'799;  // of the year 9999

}  // namespace

std::string time_text(std::uint64_t microseconds, TimePrecision precision) {
    const std::uint64_t seconds = microseconds / kMicrosecondsPerSecond;
    const auto since_1970 = static_cast<std::time_t>(seconds);
    std::tm local{};
    // One day less: the zone may lie east.
    if (seconds > kLastSecond - 86'400 || localtime_r(&since_1970, &local) == nullptr) {
        return std::to_string(microseconds);
    }
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    char fraction[8];
    std::snprintf(fraction, sizeof fraction, "%06u",
                  static_cast<unsigned>(microseconds % kMicrosecondsPerSecond));
    return date + ("." + std::string(fraction, static_cast<std::size_t>(precision)));
}

std::uint64_t time_now_us() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::microseconds>(now).count());
}
