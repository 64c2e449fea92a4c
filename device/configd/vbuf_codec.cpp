// SPDX-License-Identifier: MIT

#include "device/configd/vbuf_codec.h"

#include "config_client/config_vbuf.h"

std::optional<std::vector<ConfigElement>> vbuf_decode(std::string_view payload) {
    std::vector<ConfigElement> elements;
    while (!payload.empty()) {
        const std::optional<config_vbuf_entry_t> entry = config_vbuf_take(payload);
        if (!entry) {
            return std::nullopt;
        }
        elements.push_back(
            {std::string(entry->name), {entry->type, std::string(entry->data)}, entry->status});
    }
    return elements;
}

void vbuf_append(std::string& payload, std::string_view name, const ConfigValue& value, int32_t status) {
    config_vbuf_append(payload,
                       {static_cast<uint8_t>(value.type), static_cast<int8_t>(status), name, value.data});
}
