// SPDX-License-Identifier: MIT

#include "tests/support/SecondsClock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <mutex>

namespace {

std::mutex readings_lock;
std::vector<std::time_t> next_readings;

// False without a SecondsClock.
bool take_reading(timeval* out) {
    const std::lock_guard guard(readings_lock);
    if (next_readings.empty()) {
        return false;
    }
    *out = {.tv_sec = next_readings.front(), .tv_usec = 0};
    if (next_readings.size() > 1) {
        next_readings.erase(next_readings.begin());
    }
    return true;
}

}  // namespace

SecondsClock::SecondsClock(std::initializer_list<std::time_t> readings) {
    const std::lock_guard guard(readings_lock);
    next_readings = readings;
}

SecondsClock::~SecondsClock() {
    const std::lock_guard guard(readings_lock);
    next_readings.clear();
}

// Replaces the C library's function for the whole test program.
int gettimeofday(timeval* out, void* zone) noexcept {
    return take_reading(out) ? 0 : static_cast<int>(syscall(SYS_gettimeofday, out, zone));
}
