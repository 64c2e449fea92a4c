// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <variant>
#include <vector>

#include "config_values/ConfigValue.h"
#include "src/base/owners.h"

// The form of the factory file: one JSON object from key to text, integer of 32 bits or {"hex": "0a0b"} (a
// binary value).

struct ValueJsonError {
    std::string key;  // empty: it is about the whole
    std::string problem;
};

// In the order of the object. Keys may be any text, but none comes twice.
[[nodiscard]] std::variant<std::vector<ConfigEntry>, ValueJsonError> value_json_parse(const cJSON& json);
