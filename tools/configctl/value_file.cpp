#include "tools/configctl/value_file.h"

#include <limits>
#include <optional>
#include <set>

#include "config_client/config_client_api.h"
#include "config_client/config_vbuf.h"
#include "src/base/json_helpers.h"
#include "tools/common/config_value.h"
#include "tools/common/json_text.h"

namespace {

std::optional<StoredValue> value_of_number(double number) {
    if (!(number >= std::numeric_limits<std::int32_t>::min() &&
          number <= std::numeric_limits<std::int32_t>::max())) {
        return std::nullopt;
    }
    const auto integer = static_cast<std::int32_t>(number);
    return integer == number ? std::optional(stored_int(integer)) : std::nullopt;
}

std::optional<StoredValue> value_of(const cJSON& item) {
    if (cJSON_IsString(&item)) {
        return stored_text(item.valuestring);
    }
    if (cJSON_IsNumber(&item)) {
        return value_of_number(item.valuedouble);
    }
    const cJSON* hex = cJSON_GetObjectString(&item, "hex");
    const bool is_alone = hex != nullptr && hex->next == nullptr && hex->prev == hex;
    return is_alone ? stored_value_parse(CONFIG_TYPE_BINARY, hex->valuestring) : std::nullopt;
}

std::string quoted(const std::string& text) {
    const JsonPtr json(cJSON_CreateString(text.c_str()));
    return json_printable(*json, JsonLayout::kOneLine);
}

}  // namespace

std::variant<std::vector<StoredEntry>, InputError> value_file_parse(const cJSON& json) {
    if (!cJSON_IsObject(&json)) {
        return InputError{"the data is no JSON object from key to value"};
    }
    std::vector<StoredEntry> entries;
    std::set<std::string> keys;
    const cJSON* item = nullptr;
    cJSON_ArrayForEach(item, &json) {
        std::optional<StoredValue> value = value_of(*item);
        if (!value) {
            return InputError{std::string(item->string) +
                              ": neither text nor integer nor {\"hex\": \"...\"}"};
        }
        if (!keys.insert(item->string).second) {
            return InputError{std::string(item->string) + ": is there twice"};
        }
        entries.push_back({item->string, std::move(*value)});
    }
    return entries;
}

std::string value_file_text(const std::vector<StoredEntry>& entries) {
    std::string text = "{";
    for (const auto& [key, value] : entries) {
        const JsonPtr json = config_value_json(value.type, value.bytes);
        text += text.size() > 1 ? ",\n    " : "\n    ";
        text += quoted(key) + ": " + json_printable(*json, JsonLayout::kOneLine);
    }
    return text + "\n}";
}

JsonPtr value_file_json(const std::vector<StoredEntry>& entries) {
    JsonPtr object(cJSON_CreateObject());
    for (const auto& [key, value] : entries) {
        cJSON_AddItemToObject(object.get(), key.c_str(),
                              config_value_json(value.type, value.bytes).release());
    }
    return object;
}

std::size_t value_file_message_bytes(const std::vector<StoredEntry>& entries) {
    std::size_t bytes = 0;
    for (const auto& [key, value] : entries) {
        bytes += config_vbuf_entry_bytes(key.size(), value.bytes.size());
    }
    return bytes;
}
