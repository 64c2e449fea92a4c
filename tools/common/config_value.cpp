// SPDX-License-Identifier: MIT

#include "tools/common/config_value.h"

#include <cstring>
#include <optional>

#include "config_client/config_client_api.h"
#include "src/base/hex_text.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"

namespace {

std::string_view text_of(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

std::optional<std::int32_t> int_of(std::uint32_t type, std::string_view bytes) {
    std::int32_t value = 0;
    if (type != CONFIG_TYPE_INT || bytes.size() != sizeof value) {
        return std::nullopt;
    }
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

}  // namespace

std::string config_type_name(std::uint32_t type) {
    switch (type) {
        case CONFIG_TYPE_NONE:
            return "none";
        case CONFIG_TYPE_STRING:
            return "string";
        case CONFIG_TYPE_INT:
            return "int";
        case CONFIG_TYPE_BINARY:
            return "binary";
        default:
            return "type-" + std::to_string(type);
    }
}

std::string config_value_text(std::uint32_t type, std::string_view bytes) {
    if (type == CONFIG_TYPE_STRING) {
        return text_printable(text_of(bytes));
    }
    const std::optional<std::int32_t> number = int_of(type, bytes);
    return number ? std::to_string(*number) : hex_text(bytes);
}

JsonPtr config_value_json(std::uint32_t type, std::string_view bytes) {
    if (type == CONFIG_TYPE_NONE) {
        return JsonPtr(cJSON_CreateNull());
    }
    if (type == CONFIG_TYPE_STRING) {
        return JsonPtr(cJSON_CreateString(std::string(text_of(bytes)).c_str()));
    }
    if (const std::optional<std::int32_t> number = int_of(type, bytes)) {
        return JsonPtr(cJSON_CreateInt(*number));
    }
    JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "hex", hex_text(bytes).c_str());
    return json;
}

bool config_value_survives_json(std::uint32_t type, std::string_view bytes) {
    switch (type) {
        case CONFIG_TYPE_STRING:
            // A null text, without any byte, comes back as an empty one, which reads the same.
            return bytes.empty() || (bytes.find('\0') == bytes.size() - 1 && text_is_utf8(bytes));
        case CONFIG_TYPE_INT:
            return bytes.size() == sizeof(std::int32_t);
        default:
            return type == CONFIG_TYPE_BINARY;
    }
}

std::string config_status_text(std::int32_t status) {
    switch (status) {
        case CONFIG_OK:
            return "done";
        case CONFIG_NO_REPLY:
            return "refused";
        case CONFIG_NO_VALUE:
            return "no value";
        case CONFIG_MISMATCH:
            return "another type is there, or the value does not fit its type";
        case CONFIG_TRUNCATED:
            return "the value does not fit";
        default:
            return "status " + std::to_string(status);
    }
}
