// SPDX-License-Identifier: MIT

#include "config_values/value_json.h"

#include <limits>
#include <optional>
#include <set>
#include <utility>

#include "config_client/config_client_api.h"
#include "src/base/hex_text.h"
#include "src/base/json_helpers.h"

namespace {

std::optional<ConfigValue> value_of_number(double number) {
    if (!(number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max())) {
        return std::nullopt;
    }
    const auto integer = static_cast<int32_t>(number);
    return integer == number ? std::optional(config_value_of_int(integer)) : std::nullopt;
}

std::optional<ConfigValue> value_of_hex(const char* text) {
    std::optional<std::string> bytes = hex_bytes(text);
    return bytes ? std::optional(ConfigValue{CONFIG_TYPE_BINARY, std::move(*bytes)}) : std::nullopt;
}

std::optional<ConfigValue> value_of(const cJSON& item) {
    if (cJSON_IsString(&item)) {
        return config_value_of_text(item.valuestring);
    }
    if (cJSON_IsNumber(&item)) {
        return value_of_number(item.valuedouble);
    }
    const cJSON* hex = cJSON_GetObjectString(&item, "hex");
    const bool is_alone = hex != nullptr && hex->next == nullptr && hex->prev == hex;
    return is_alone ? value_of_hex(hex->valuestring) : std::nullopt;
}

}  // namespace

std::variant<std::vector<ConfigEntry>, ValueJsonError> value_json_parse(const cJSON& json) {
    if (!cJSON_IsObject(&json)) {
        return ValueJsonError{"", "no JSON object from key to value"};
    }
    std::vector<ConfigEntry> entries;
    std::set<std::string> keys;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, &json) {
        std::optional<ConfigValue> value = value_of(*item);
        if (!value) {
            return ValueJsonError{item->string, "neither text nor integer nor {\"hex\": \"...\"}"};
        }
        if (!keys.insert(item->string).second) {
            return ValueJsonError{item->string, "is there twice"};
        }
        entries.push_back({item->string, std::move(*value)});
    }
    return entries;
}
