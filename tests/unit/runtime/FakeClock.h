// SPDX-License-Identifier: MIT

#pragma once

#include <ctime>

// FakeClock: while one lives, the clocks of the test program stand still where the test puts them, for the code
// under test and for libevent alike. Without one they are the kernel's.
class FakeClock {
  public:
    FakeClock();
    ~FakeClock();
    FakeClock(const FakeClock&) = delete;
    FakeClock& operator=(const FakeClock&) = delete;

    void SetWallClock(std::time_t seconds, long microseconds);
    void SetMonotonic(std::time_t seconds, long nanoseconds);
    void AdvanceMonotonicMs(long ms);
    [[nodiscard]] timespec Monotonic() const;
};
