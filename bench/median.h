// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <vector>

// Of one value or more.
inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// The greatest beside the least, of one value or more.
inline double spread(const std::vector<double>& values) {
    const auto [least, most] = std::ranges::minmax(values);
    return most / least;
}
