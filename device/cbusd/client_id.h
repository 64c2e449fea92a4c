// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// Clients are numbered from 1 in the order of their arrival, no number is used again.
using ClientId = uint32_t;
// Where a message comes from or goes to when that is the broker itself.
constexpr ClientId kBrokerId = 0;
