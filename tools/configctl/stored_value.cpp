// SPDX-License-Identifier: MIT

#include "tools/configctl/stored_value.h"

#include <charconv>

#include "config_client/config_client_api.h"
#include "src/base/hex_text.h"

std::optional<ConfigValue> stored_value_parse(std::uint32_t type, const std::string& text) {
    if (type == CONFIG_TYPE_STRING) {
        return config_value_of_text(text);
    }
    if (type == CONFIG_TYPE_INT) {
        std::int32_t number = 0;
        const char* end = text.data() + text.size();
        const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
        return error == std::errc() && stopped_at == end ? std::optional(config_value_of_int(number))
                                                         : std::nullopt;
    }
    std::optional<std::string> bytes = hex_bytes(text);
    return bytes ? std::optional(ConfigValue{type, std::move(*bytes)}) : std::nullopt;
}
