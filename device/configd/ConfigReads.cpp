// SPDX-License-Identifier: MIT

#include "device/configd/ConfigReads.h"

#include <optional>
#include <utility>
#include <vector>

#include "config_client/config_client_api.h"
#include "config_client/config_wire.h"
#include "device/configd/ConfigOutlet.h"
#include "device/configd/KeyPattern.h"
#include "device/configd/vbuf_codec.h"
#include "device/configd/wire_bytes.h"
#include "runtime/logging.h"

namespace {

// Readers may also give names below the prefix whole: the prefix then says where in the database they lie.
std::string read_key(std::string_view prefix, std::string_view name) {
    const bool is_whole = name.starts_with(prefix) && name.substr(prefix.size()).starts_with('.');
    return is_whole ? std::string(name) : full_key(prefix, name);
}

bool type_differs(uint32_t expected, const ConfigValue& value) {
    return expected != CONFIG_TYPE_NONE && expected != value.type;
}

std::string unless_too_large(std::string reply) {
    if (reply.size() > ConfigOutlet::kMaxDataBytes) {
        logger_function(4, "configd", "a reply of %zu bytes is more than the bus carries", reply.size());
        reply.clear();
    }
    return reply;
}

}  // namespace

std::string ConfigReads::read(std::string_view key, std::string_view data) const {
    const auto request = take<config_read_request_t>(data);
    if (!request) {
        return {};
    }
    const ConfigValue* value = find(key);
    if (value == nullptr) {
        return bytes_of(config_read_reply_t{CONFIG_NO_VALUE, CONFIG_TYPE_NONE, 0});
    }
    if (type_differs(request->type, *value)) {
        return bytes_of(config_read_reply_t{CONFIG_MISMATCH, value->type, 0});
    }
    const std::string_view fitting = std::string_view(value->data).substr(0, request->size);
    const int32_t status = fitting.size() < value->data.size() ? CONFIG_TRUNCATED : CONFIG_OK;
    return bytes_of(config_read_reply_t{status, value->type, static_cast<uint32_t>(fitting.size())})
        .append(fitting);
}

std::string ConfigReads::read_vector(std::string_view prefix, std::string_view data) const {
    const auto requested = vbuf_decode(data);
    std::string reply;
    for (const ConfigElement& element : requested.value_or(std::vector<ConfigElement>())) {
        if (reply.size() > ConfigOutlet::kMaxDataBytes) {
            break;  // a small request can name a large value very often
        }
        const ConfigValue* value = find(read_key(prefix, element.key));
        if (value == nullptr) {
            vbuf_append(reply, element.key, {element.value.type, {}}, CONFIG_NO_VALUE);
        } else if (type_differs(element.value.type, *value)) {
            vbuf_append(reply, element.key, {value->type, {}}, CONFIG_MISMATCH);
        } else {
            vbuf_append(reply, element.key, *value, CONFIG_OK);
        }
    }
    return unless_too_large(std::move(reply));
}

std::string ConfigReads::read_pattern(std::string_view pattern_text) const {
    const auto pattern = KeyPattern::parse(pattern_text);
    if (!pattern) {
        return {};
    }
    m_queue.settle(*pattern);
    const auto matching = m_database.match(*pattern);
    if (matching.empty()) {
        return {};
    }
    std::string reply = bytes_of(config_match_header_t{0, static_cast<uint32_t>(matching.size())});
    for (const auto* entry : matching) {
        if (reply.size() > ConfigOutlet::kMaxDataBytes) {
            break;
        }
        vbuf_append(reply, entry->first, entry->second, CONFIG_OK);
    }
    return unless_too_large(std::move(reply));
}

std::string ConfigReads::stat(std::string_view key) const {
    const int32_t status = find(key) != nullptr ? CONFIG_OK : CONFIG_NO_VALUE;
    return bytes_of(config_stat_reply_t{status, m_database.information(key)});
}

const ConfigValue* ConfigReads::find(std::string_view key) const {
    m_queue.settle(key);
    return m_database.find(key);
}
