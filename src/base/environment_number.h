// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// The value of an environment variable that is a whole number above zero, in decimal digits and nothing else, or
// `otherwise`: what is not set, no number or too large counts as not said.
[[nodiscard]] std::uint64_t environment_number(const char* variable, std::uint64_t otherwise);
