// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

// Values as the database holds them, for its own program and its tools.

struct ConfigValue {
    uint32_t type = 0;  // CONFIG_TYPE_...; CONFIG_TYPE_NONE, without data, stands for "deleted"
    std::string data;   // texts with their NUL, integers as 4 bytes in host order

    bool operator==(const ConfigValue&) const = default;
};

struct ConfigEntry {
    std::string key;
    ConfigValue value;

    bool operator==(const ConfigEntry&) const = default;
};

[[nodiscard]] ConfigValue config_value_of_text(const std::string& text);
[[nodiscard]] ConfigValue config_value_of_int(int32_t number);
