// SPDX-License-Identifier: MIT

#include "device/configd/PendingWrite.h"

#include <algorithm>

bool all_accepted(const std::vector<ConfigElement>& elements) {
    return std::ranges::all_of(elements, [](const ConfigElement& e) { return e.status == CONFIG_OK; });
}
