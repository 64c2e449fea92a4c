// SPDX-License-Identifier: MIT

#include "tools/cbusctl/ConfigPayload.h"

#include <cstring>

#include "config_client/config_client_api.h"
#include "config_client/config_vbuf.h"
#include "config_client/config_wire.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/common/config_value.h"

namespace {

using Kind = ConfigMessageKind;

template <class Fixed>
bool take(std::string_view& bytes, Fixed& fixed) {
    if (bytes.size() < sizeof fixed) {
        return false;
    }
    std::memcpy(&fixed, bytes.data(), sizeof fixed);
    bytes.remove_prefix(sizeof fixed);
    return true;
}

void parse_entries(std::string_view bytes, ConfigPayload& payload) {
    while (!bytes.empty() && !payload.is_malformed) {
        if (const auto entry = config_vbuf_take(bytes)) {
            payload.entries.push_back({std::string(entry->name), entry->type, entry->status,
                                       std::string(entry->data), !entry->data.empty()});
        } else {
            payload.is_malformed = true;
        }
    }
}

// The value stands behind its header; all that is there belongs to it.
void parse_value(std::string_view key, std::uint32_t type, std::uint32_t length, std::string_view bytes,
                 ConfigPayload& payload) {
    payload.is_malformed = length != bytes.size();
    payload.entries.push_back(
        {std::string(key), type, CONFIG_OK, std::string(bytes), type != CONFIG_TYPE_NONE});
}

void parse_read_reply(std::string_view key, std::string_view bytes, ConfigPayload& payload) {
    config_read_reply_t header{};
    if (!take(bytes, header)) {
        payload.is_malformed = true;
        return;
    }
    payload.status = header.status;
    if (header.status == CONFIG_OK || header.status == CONFIG_TRUNCATED) {
        parse_value(key, header.type, header.length, bytes, payload);
    }
}

void parse_write(std::string_view key, std::string_view bytes, ConfigPayload& payload) {
    config_write_header_t header{};
    if (take(bytes, header)) {
        parse_value(key, header.type, header.length, bytes, payload);
    } else {
        payload.is_malformed = true;
    }
}

void parse_matches(std::string_view bytes, ConfigPayload& payload) {
    config_match_header_t header{};
    payload.is_malformed = !bytes.empty() && !take(bytes, header);
    if (!payload.is_malformed) {
        parse_entries(bytes, payload);
    }
}

void parse_stat(std::string_view bytes, ConfigPayload& payload) {
    config_stat_reply_t reply{};
    payload.is_malformed = !take(bytes, reply);
    if (!payload.is_malformed) {
        payload.status = reply.status;
        payload.information = reply.information;
    }
}

void parse_result(std::string_view bytes, ConfigPayload& payload) {
    std::int32_t result = 0;
    payload.is_malformed = !take(bytes, result);
    if (!payload.is_malformed) {
        payload.status = result;
    }
}

// What stands in front of "." in the operations that have an argument, and the argument.
struct Operation {
    std::string_view name;
    std::string_view argument;
};

Operation operation_of(std::string_view message_name) {
    const std::string_view rest = message_name.substr(std::strlen("config."));
    const std::size_t dot = rest.find('.');
    return {rest.substr(0, dot), dot != std::string_view::npos ? rest.substr(dot + 1) : std::string_view()};
}

bool parse_reply(const Operation& operation, std::string_view data, ConfigPayload& payload) {
    if (operation.name == "read") {
        parse_read_reply(operation.argument, data, payload);
    } else if (operation.name == "readm") {
        parse_matches(data, payload);
    } else if (operation.name == "stat") {
        parse_stat(data, payload);
    } else if (operation.name == "factory_reset") {
        parse_result(data, payload);
    } else if (operation.name == "readv" || operation.name == "modifyv") {
        parse_entries(data, payload);
    } else {
        return false;
    }
    return true;
}

bool parse_question(const Operation& operation, std::string_view data, ConfigPayload& payload) {
    if (operation.name == "write") {
        parse_write(operation.argument, data, payload);
    } else if (operation.name == "validate" && operation.argument == "register") {
        payload.text = data.substr(0, data.find('\0'));
    } else if (operation.name == "readv" || operation.name == "writev" || operation.name == "modifyv" ||
               operation.name == "change" || operation.name == "clnt_validate" ||
               operation.name == "validate") {
        parse_entries(data, payload);
    } else {
        return false;
    }
    return true;
}

std::string entry_text(const ConfigPayload::Entry& entry) {
    std::string text = text_printable(entry.key);
    if (entry.has_value) {
        text += " = " + config_value_text(entry.type, entry.bytes);
    } else if (entry.type != CONFIG_TYPE_NONE) {
        text += " (" + config_type_name(entry.type) + ")";
    }
    return entry.status != CONFIG_OK ? text + " [" + config_status_text(entry.status) + "]" : text;
}

JsonPtr entry_json(const ConfigPayload::Entry& entry) {
    JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "key", entry.key.c_str());
    cJSON_AddStringToObject(json.get(), "type", config_type_name(entry.type).c_str());
    cJSON_AddNumberToObject(json.get(), "status", entry.status);
    if (entry.has_value) {
        json_add(json.get(), "value", config_value_json(entry.type, entry.bytes));
    }
    return json;
}

}  // namespace

std::optional<ConfigPayload> config_payload_parse(Kind kind, std::string_view name, std::string_view data) {
    if (!name.starts_with("config.")) {
        return std::nullopt;
    }
    ConfigPayload payload;
    const Operation operation = operation_of(name);
    // The bus answers with nothing for a database that is not there.
    if (kind == Kind::kReply && data.empty()) {
        return std::nullopt;
    }
    const bool is_known = kind == Kind::kReply ? parse_reply(operation, data, payload)
                                               : parse_question(operation, data, payload);
    return is_known ? std::optional(std::move(payload)) : std::nullopt;
}

std::string config_payload_text(const ConfigPayload& payload) {
    std::string text;
    const auto add = [&text](const std::string& part) { text += text.empty() ? part : ", " + part; };
    if (payload.status && *payload.status != CONFIG_OK) {
        add("[" + config_status_text(*payload.status) + "]");
    }
    if (payload.information) {
        add("information " + std::to_string(*payload.information));
    }
    if (payload.text) {
        add(text_printable(*payload.text));
    }
    for (const ConfigPayload::Entry& entry : payload.entries) {
        add(entry_text(entry));
    }
    if (payload.is_malformed) {
        add("malformed");
    }
    return text;
}

JsonPtr config_payload_json(const ConfigPayload& payload) {
    JsonPtr json(cJSON_CreateObject());
    if (payload.status) {
        cJSON_AddNumberToObject(json.get(), "status", *payload.status);
    }
    if (payload.information) {
        cJSON_AddNumberToObject(json.get(), "information", *payload.information);
    }
    if (payload.text) {
        cJSON_AddStringToObject(json.get(), "text", payload.text->c_str());
    }
    cJSON* entries = cJSON_AddArrayToObject(json.get(), "entries");
    for (const ConfigPayload::Entry& entry : payload.entries) {
        json_append(entries, entry_json(entry));
    }
    if (payload.is_malformed) {
        cJSON_AddTrueToObject(json.get(), "malformed");
    }
    return json;
}
