#include "device/configd/FactoryFile.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <utility>

#include "config_client/config_client_api.h"
#include "device/configd/startup_error.h"
#include "src/base/json_helpers.h"
#include "src/base/text_file.h"

namespace {

std::optional<ConfigValue> value_of_text(const char* text) {
    return ConfigValue{CONFIG_TYPE_STRING, std::string(text, strlen(text) + 1)};
}

std::optional<ConfigValue> value_of_number(double number) {
    if (!(number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max())) {
        return std::nullopt;
    }
    const auto integer = static_cast<int32_t>(number);
    if (integer != number) {
        return std::nullopt;
    }
    return ConfigValue{CONFIG_TYPE_INT, std::string(reinterpret_cast<const char*>(&integer), sizeof integer)};
}

std::optional<ConfigValue> value_of_hex(std::string_view digits) {
    ConfigValue value{CONFIG_TYPE_BINARY, {}};
    for (size_t i = 0; i < digits.size(); i += 2) {
        const std::string_view pair = digits.substr(i, 2);
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        if (pair.size() != 2 || error != std::errc() || end != pair.data() + pair.size()) {
            return std::nullopt;
        }
        value.data += static_cast<char>(byte);
    }
    return value;
}

std::optional<ConfigValue> value_of(const cJSON& item) {
    if (cJSON_IsString(&item)) {
        return value_of_text(item.valuestring);
    }
    if (cJSON_IsNumber(&item)) {
        return value_of_number(item.valuedouble);
    }
    const cJSON* hex = cJSON_GetObjectString(&item, "hex");
    const bool is_alone = hex != nullptr && hex->next == nullptr && hex->prev == hex;
    return is_alone ? value_of_hex(hex->valuestring) : std::nullopt;
}

}  // namespace

std::optional<ConfigValues> factory_file_read(const char* path) {
    std::string text;
    if (text_file_read(path, "configd", text) != TextFileResult::kRead) {
        startup_error("cannot read the factory values in '%s'", path);
        return std::nullopt;
    }
    const JsonPtr json = json_parse(text);
    if (!cJSON_IsObject(json.get())) {
        startup_error("the factory values in '%s' are no JSON object", path);
        return std::nullopt;
    }
    ConfigValues values;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, json.get()) {
        std::optional<ConfigValue> value = value_of(*item);
        ConfigElement element{item->string, value.value_or(ConfigValue{}), CONFIG_OK};
        if (!value || config_element_check(element) != CONFIG_OK ||
            !values.emplace(std::move(element.key), std::move(*value)).second) {
            startup_error("factory value '%s' in '%s' is not valid", item->string, path);
            return std::nullopt;
        }
    }
    return values;
}
