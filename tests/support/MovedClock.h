// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

// MovedClock: the wall clock of the programs that are started while it lives; their monotonic clock stays the
// kernel's. A library in front of the C library adds the distance to every reading; what the kernel itself
// does at a time of the wall clock is not moved.
// Owns:   a file in the directory, and the environment variables that the programs inherit.
// Errors: a failed set-up is a failed expectation.
class MovedClock {
  public:
    explicit MovedClock(const std::string& directory);
    MovedClock(const MovedClock&) = delete;
    MovedClock& operator=(const MovedClock&) = delete;
    ~MovedClock();

    // The distance from the real time, back when negative; the programs have it with their next reading.
    void set(int64_t seconds);

  private:
    int64_t* m_seconds = nullptr;
};
