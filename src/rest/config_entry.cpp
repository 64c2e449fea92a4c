// SPDX-License-Identifier: MIT

#include "src/rest/config_entry.h"

#include <cstring>

std::string config_entry_text(const config_data_t& entry) {
    if (entry.value == nullptr) {
        return {};
    }
    const char* text = static_cast<const char*>(entry.value);
    return {text, strnlen(text, entry.length)};
}

std::optional<std::int32_t> config_entry_int(const config_data_t& entry) {
    std::int32_t number = 0;
    if (entry.value == nullptr || entry.length != sizeof number) {
        return std::nullopt;
    }
    std::memcpy(&number, entry.value, sizeof number);
    return number;
}

std::string config_entry_printable(const config_data_t& entry) {
    if (entry.type == CONFIG_TYPE_INT) {
        const auto number = config_entry_int(entry);
        return number ? std::to_string(*number) : std::string();
    }
    return entry.type == CONFIG_TYPE_STRING ? config_entry_text(entry) : std::string();
}
