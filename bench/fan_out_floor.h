#pragma once

#include <cstddef>

// What a bare process pays for one text to each of so many connections, in microseconds of processor time for each:
// the kernel's share of a fan-out, which grows with their number because their memory does.
double fan_out_floor_us(size_t receivers);
