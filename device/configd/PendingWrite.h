// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "device/configd/ConfigElement.h"

// A write of one or more keys on its way into the database, and who waits for its result.
struct PendingWrite {
    std::vector<ConfigElement> elements;
    size_t prefix_bytes = 0;  // of each key, in front of the name that the writer gave
    // Called once, when the result stands in the statuses.
    std::function<void(const PendingWrite&)> after_write = [](const PendingWrite&) {};
};

[[nodiscard]] bool all_accepted(const std::vector<ConfigElement>& elements);
