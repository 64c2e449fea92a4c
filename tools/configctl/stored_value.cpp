#include "tools/configctl/stored_value.h"

#include <charconv>

#include "config_client/config_client_api.h"
#include "tools/common/hex_text.h"

StoredValue stored_text(const std::string& text) {
    return {CONFIG_TYPE_STRING, std::string(text.c_str(), text.size() + 1)};
}

StoredValue stored_int(std::int32_t number) {
    return {CONFIG_TYPE_INT, std::string(reinterpret_cast<const char*>(&number), sizeof number)};
}

std::optional<StoredValue> stored_value_parse(std::uint32_t type, const std::string& text) {
    if (type == CONFIG_TYPE_STRING) {
        return stored_text(text);
    }
    if (type == CONFIG_TYPE_INT) {
        std::int32_t number = 0;
        const char* end = text.data() + text.size();
        const auto [stopped_at, error] = std::from_chars(text.data(), end, number);
        return error == std::errc() && stopped_at == end ? std::optional(stored_int(number)) : std::nullopt;
    }
    std::optional<std::string> bytes = hex_bytes(text);
    return bytes ? std::optional(StoredValue{type, std::move(*bytes)}) : std::nullopt;
}
