#include "device/configd/ConfigService.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "config_client/config_client_api.h"
#include "config_client/config_wire.h"
#include "device/configd/vbuf_codec.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "configd";
constexpr std::string_view kNamePrefix = "config.";

template <class T>
std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

template <class T>
std::optional<T> take(std::string_view data) {
    T value{};
    if (data.size() < sizeof value) {
        return std::nullopt;
    }
    memcpy(&value, data.data(), sizeof value);
    return value;
}

struct OperationName {
    std::string_view operation;
    std::string_view argument;  // empty when there is none
};

// "config.<operation>[.<argument>]".
OperationName split_name(std::string_view name) {
    name.remove_prefix(std::min(name.size(), kNamePrefix.size()));
    const size_t dot = name.find('.');
    return dot == std::string_view::npos ? OperationName{name, {}}
                                         : OperationName{name.substr(0, dot), name.substr(dot + 1)};
}

std::string full_key(std::string_view prefix, std::string_view name) {
    return prefix.empty() ? std::string(name) : std::string(prefix).append(".").append(name);
}

// Readers may also give names below the prefix whole: the prefix then says where in the database they lie.
std::string read_key(std::string_view prefix, std::string_view name) {
    const bool is_whole = name.starts_with(prefix) && name.substr(prefix.size()).starts_with('.');
    return is_whole ? std::string(name) : full_key(prefix, name);
}

bool type_differs(uint32_t expected, const ConfigValue& value) {
    return expected != CONFIG_TYPE_NONE && expected != value.type;
}

// The elements of a vector write, under their full keys; nothing for a payload that is none.
std::optional<std::vector<ConfigElement>> decode_write(std::string_view prefix, std::string_view data) {
    std::optional<std::vector<ConfigElement>> elements = vbuf_decode(data);
    if (elements) {
        for (ConfigElement& element : *elements) {
            element.key = full_key(prefix, element.key);
            element.status = CONFIG_OK;
        }
    }
    return elements;
}

size_t payload_bytes(const std::vector<ConfigElement>& elements) {
    size_t bytes = 0;
    for (const ConfigElement& element : elements) {
        bytes += vbuf_entry_bytes(element.key.size(), element.value.data.size());
    }
    return bytes;
}

std::string statuses_of(const PendingWrite& write) {
    std::string reply;
    for (const ConfigElement& element : write.elements) {
        vbuf_append(reply, std::string_view(element.key).substr(write.prefix_bytes), {element.value.type, {}},
                    element.status);
    }
    return reply;
}

void log_refusal(const PendingWrite& write) {
    for (const ConfigElement& element : write.elements) {
        if (element.status != CONFIG_OK) {
            logger_function(4, kModule, "write of '%s' refused with %d", element.key.c_str(), element.status);
        }
    }
}

std::string unless_too_large(std::string reply) {
    if (reply.size() > ConfigService::kMaxDataBytes) {
        logger_function(4, kModule, "a reply of %zu bytes is more than the bus carries", reply.size());
        reply.clear();
    }
    return reply;
}

}  // namespace

ConfigService::ConfigService(ConfigDatabase& database, ConfigOutlet& outlet)
    : m_database(database), m_outlet(outlet), m_guarded(*this) {}

std::optional<std::string> ConfigService::handle_request(std::string_view name, std::string_view data,
                                                         uint32_t now_ms) {
    const auto [operation, argument] = split_name(name);
    if (operation == "read") {
        return read(argument, data);
    }
    if (operation == "readv") {
        return unless_too_large(read_vector(argument, data));
    }
    if (operation == "modifyv") {
        return modify_vector(argument, data, now_ms);
    }
    if (operation == "readm") {
        return unless_too_large(read_pattern(argument));
    }
    if (operation == "stat") {
        return stat(argument);
    }
    if (operation == "factory_reset") {
        return factory_reset();
    }
    return std::string();
}

void ConfigService::handle_signal(std::string_view name, std::string_view data, uint32_t now_ms) {
    const auto [operation, argument] = split_name(name);
    bool is_understood = false;
    if (operation == "write") {
        is_understood = write(argument, data, now_ms);
    } else if (operation == "writev") {
        is_understood = write_vector(argument, data, now_ms);
    } else if (operation == "delm") {
        is_understood = delete_pattern(argument, now_ms);
    } else if (operation == "sync") {
        is_understood = true;
        static_cast<void>(m_database.sync());  // a failure is in the log
    } else if (operation == "validate") {
        is_understood = validate(argument, data, now_ms);
    }
    if (!is_understood) {
        logger_function(4, kModule, "signal '%.*s' of %zu bytes had no effect", static_cast<int>(name.size()),
                        name.data(), data.size());
    }
}

std::string ConfigService::read(std::string_view key, std::string_view data) const {
    const auto request = take<config_read_request_t>(data);
    if (!request) {
        return {};
    }
    const ConfigValue* value = m_database.find(key);
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

std::string ConfigService::read_vector(std::string_view prefix, std::string_view data) const {
    const auto requested = vbuf_decode(data);
    std::string reply;
    for (const ConfigElement& element : requested.value_or(Elements())) {
        if (reply.size() > kMaxDataBytes) {
            break;  // a small request can name a large value very often
        }
        const ConfigValue* value = m_database.find(read_key(prefix, element.key));
        if (value == nullptr) {
            vbuf_append(reply, element.key, {element.value.type, {}}, CONFIG_NO_VALUE);
        } else if (type_differs(element.value.type, *value)) {
            vbuf_append(reply, element.key, {value->type, {}}, CONFIG_MISMATCH);
        } else {
            vbuf_append(reply, element.key, *value, CONFIG_OK);
        }
    }
    return reply;
}

std::string ConfigService::read_pattern(std::string_view pattern_text) const {
    const auto pattern = KeyPattern::parse(pattern_text);
    if (!pattern) {
        return {};
    }
    const auto matching = m_database.match(*pattern);
    if (matching.empty()) {
        return {};
    }
    std::string reply = bytes_of(config_match_header_t{0, static_cast<uint32_t>(matching.size())});
    for (const auto* entry : matching) {
        if (reply.size() > kMaxDataBytes) {
            break;
        }
        vbuf_append(reply, entry->first, entry->second, CONFIG_OK);
    }
    return reply;
}

std::string ConfigService::stat(std::string_view key) const {
    const int32_t status = m_database.find(key) != nullptr ? CONFIG_OK : CONFIG_NO_VALUE;
    return bytes_of(config_stat_reply_t{status, m_database.information(key)});
}

std::string ConfigService::factory_reset() {
    const auto changes = m_database.reset_to_factory();
    if (changes) {
        announce(*changes);
    }
    return bytes_of(int32_t{changes ? CONFIG_OK : CONFIG_REFUSED});
}

std::optional<std::string> ConfigService::modify_vector(std::string_view prefix, std::string_view data,
                                                        uint32_t now_ms) {
    auto elements = decode_write(prefix, data);
    if (!elements || elements->empty()) {
        return std::string();
    }
    const size_t prefix_bytes = prefix.empty() ? 0 : prefix.size() + 1;
    submit({std::move(*elements), prefix_bytes,
            [answer = m_outlet.keep_request()](const PendingWrite& write) { answer(statuses_of(write)); }},
           now_ms);
    return std::nullopt;
}

bool ConfigService::write(std::string_view key, std::string_view data, uint32_t now_ms) {
    const auto header = take<config_write_header_t>(data);
    if (!header || header->length != data.size() - sizeof *header) {
        return false;
    }
    ConfigValue value{header->type, std::string(data.substr(sizeof *header))};
    submit({{{std::string(key), std::move(value), CONFIG_OK}}, 0, log_refusal}, now_ms);
    return true;
}

bool ConfigService::write_vector(std::string_view prefix, std::string_view data, uint32_t now_ms) {
    auto elements = decode_write(prefix, data);
    if (!elements) {
        return false;
    }
    submit({std::move(*elements), 0, log_refusal}, now_ms);
    return true;
}

bool ConfigService::delete_pattern(std::string_view pattern_text, uint32_t now_ms) {
    const auto pattern = KeyPattern::parse(pattern_text);
    if (!pattern) {
        return false;
    }
    PendingWrite deletes{{}, 0, log_refusal};
    for (const auto* entry : m_database.match(*pattern)) {
        deletes.elements.push_back({entry->first, {}, CONFIG_OK});
    }
    submit(std::move(deletes), now_ms);
    return true;
}

bool ConfigService::validate(std::string_view step, std::string_view data, uint32_t now_ms) {
    if (step == "register") {
        const std::string name(data.substr(0, data.find('\0')));
        return !name.empty() && name.size() <= kMaxKeyBytes && m_guarded.register_validator(name);
    }
    const auto verdict = vbuf_decode(data);
    if (step != "rsp" || !verdict) {
        return false;
    }
    m_guarded.handle_verdict(*verdict, now_ms);
    return true;
}

void ConfigService::submit(PendingWrite write, uint32_t now_ms) {
    for (ConfigElement& element : write.elements) {
        element.status = config_element_check(element);
    }
    if (!all_accepted(write.elements) || !m_guarded.guards(write.elements)) {
        after_verdict(std::move(write));
    } else if (payload_bytes(write.elements) > kMaxDataBytes) {
        write.elements.front().status = CONFIG_REFUSED;  // its validator could not be asked
        after_verdict(std::move(write));
    } else {
        m_guarded.add(std::move(write), now_ms);
    }
}

void ConfigService::ask_validator(const std::string& name, const Elements& elements) {
    std::string payload;
    for (const ConfigElement& element : elements) {
        vbuf_append(payload, element.key, element.value, CONFIG_OK);
    }
    m_outlet.send_signal("config.clnt_validate." + name, payload);
}

void ConfigService::after_verdict(PendingWrite write) {
    if (all_accepted(write.elements)) {
        const auto changes = m_database.write(write.elements);
        if (changes) {
            announce(*changes);
        } else {
            for (ConfigElement& element : write.elements) {
                element.status = CONFIG_REFUSED;
            }
        }
    }
    write.after_write(write);
}

// The changes come in the order of their keys, so those of one component stand together. What the bus would not
// carry in one message goes in several.
void ConfigService::announce(const Elements& changes) {
    std::string payload;
    for (size_t i = 0; i < changes.size(); ++i) {
        const std::string& key = changes[i].key;
        const std::string component = key.substr(0, key.find('.'));
        vbuf_append(payload, key, changes[i].value, CONFIG_OK);
        const ConfigElement* next = i + 1 < changes.size() ? &changes[i + 1] : nullptr;
        const bool goes_on =
            next != nullptr && next->key.starts_with(component + '.') &&
            payload.size() + vbuf_entry_bytes(next->key.size(), next->value.data.size()) <= kMaxDataBytes;
        if (!goes_on) {
            m_outlet.send_signal("config.change." + component, payload);
            payload.clear();
        }
    }
}
