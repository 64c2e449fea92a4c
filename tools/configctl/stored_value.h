// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "config_values/ConfigValue.h"

// The value that a user writes so: text, a decimal integer of 32 bits, hex text for all other types. Nothing when the
// text is no such value.
[[nodiscard]] std::optional<ConfigValue> stored_value_parse(std::uint32_t type, const std::string& text);
