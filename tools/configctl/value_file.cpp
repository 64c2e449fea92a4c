// SPDX-License-Identifier: MIT

#include "tools/configctl/value_file.h"

#include "config_client/config_vbuf.h"
#include "src/base/json_helpers.h"
#include "tools/common/config_value.h"
#include "tools/common/json_text.h"

namespace {

std::string quoted(const std::string& text) {
    const JsonPtr json(cJSON_CreateString(text.c_str()));
    return json_printable(*json, JsonLayout::kOneLine);
}

}  // namespace

std::string value_file_text(const std::vector<ConfigEntry>& entries) {
    std::string text = "{";
    for (const auto& [key, value] : entries) {
        const JsonPtr json = config_value_json(value.type, value.data);
        text += text.size() > 1 ? ",\n    " : "\n    ";
        text += quoted(key) + ": " + json_printable(*json, JsonLayout::kOneLine);
    }
    return text + "\n}";
}

JsonPtr value_file_json(const std::vector<ConfigEntry>& entries) {
    JsonPtr object(cJSON_CreateObject());
    for (const auto& [key, value] : entries) {
        json_add(object.get(), key.c_str(), config_value_json(value.type, value.data));
    }
    return object;
}

std::size_t value_file_message_bytes(const std::vector<ConfigEntry>& entries) {
    std::size_t bytes = 0;
    for (const auto& [key, value] : entries) {
        bytes += config_vbuf_entry_bytes(key.size(), value.data.size());
    }
    return bytes;
}
