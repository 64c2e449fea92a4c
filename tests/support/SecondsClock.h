// SPDX-License-Identifier: MIT

#pragma once

#include <ctime>
#include <initializer_list>
#include <vector>

// SecondsClock: while one lives, the wall clock gives these readings one after the other; the last one stays. Without
// one it is the kernel's.
class SecondsClock {
  public:
    SecondsClock(std::initializer_list<std::time_t> readings);
    ~SecondsClock();
    SecondsClock(const SecondsClock&) = delete;
    SecondsClock& operator=(const SecondsClock&) = delete;
};
