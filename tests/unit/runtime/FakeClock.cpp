// SPDX-License-Identifier: MIT

#include "FakeClock.h"

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

bool clock_is_fake = false;
timeval wall_clock;
timespec monotonic_clock;

}  // namespace

FakeClock::FakeClock() {
    wall_clock = {.tv_sec = 1700000000, .tv_usec = 0};
    monotonic_clock = {.tv_sec = 1000, .tv_nsec = 0};
    clock_is_fake = true;
}

FakeClock::~FakeClock() {
    clock_is_fake = false;
}

void FakeClock::SetWallClock(std::time_t seconds, long microseconds) {
    wall_clock = {.tv_sec = seconds, .tv_usec = microseconds};
}

void FakeClock::SetMonotonic(std::time_t seconds, long nanoseconds) {
    monotonic_clock = {.tv_sec = seconds, .tv_nsec = nanoseconds};
}

void FakeClock::AdvanceMonotonicMs(long ms) {
    const long nanoseconds = monotonic_clock.tv_nsec + ms % 1000 * 1000000;
    monotonic_clock.tv_sec += ms / 1000 + nanoseconds / 1000000000;
    monotonic_clock.tv_nsec = nanoseconds % 1000000000;
}

timespec FakeClock::Monotonic() const {
    return monotonic_clock;
}

// These replace the C library's functions for the whole test program, its shared libraries included.

int clock_gettime(clockid_t clock, timespec* out) noexcept {
    if (clock_is_fake && (clock == CLOCK_MONOTONIC || clock == CLOCK_MONOTONIC_COARSE)) {
        *out = monotonic_clock;
        return 0;
    }
    return static_cast<int>(syscall(SYS_clock_gettime, clock, out));
}

int gettimeofday(timeval* out, void* zone) noexcept {
    if (clock_is_fake) {
        *out = wall_clock;
        return 0;
    }
    return static_cast<int>(syscall(SYS_gettimeofday, out, zone));
}

int settimeofday(const timeval* wanted, const struct timezone* zone) noexcept {
    if (clock_is_fake) {
        wall_clock = *wanted;
        return 0;
    }
    return static_cast<int>(syscall(SYS_settimeofday, wanted, zone));
}
