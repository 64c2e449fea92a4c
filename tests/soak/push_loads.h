// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "Load.h"
#include "Soak.h"

// One publisher of numbers on a channel and clients that wait for them with long polls: each gets every number once, in
// order. The publisher stays so close ahead of the slowest that nothing leaves the channel's store unread.
std::vector<std::unique_ptr<Load>> make_push_channel(const Soak& soak);
