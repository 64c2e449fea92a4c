// SPDX-License-Identifier: MIT

#include "device/configd/ConfigService.h"

#include <algorithm>
#include <utility>

#include "config_client/config_client_api.h"
#include "config_client/config_vbuf.h"
#include "config_client/config_wire.h"
#include "device/configd/vbuf_codec.h"
#include "device/configd/wire_bytes.h"
#include "runtime/logging.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "configd";
constexpr std::string_view kNamePrefix = "config.";

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
        bytes += config_vbuf_entry_bytes(element.key.size(), element.value.data.size());
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

// One line a write: a large one must not drown the log.
void log_refusal(const PendingWrite& write) {
    const auto is_refused = [](const ConfigElement& e) { return e.status != CONFIG_OK; };
    const auto first = std::ranges::find_if(write.elements, is_refused);
    if (first != write.elements.end()) {
        logger_function(4, kModule, "write of '%s' refused with %d (%zu of %zu elements)",
                        text_for_log(first->key).c_str(), first->status,
                        static_cast<size_t>(std::ranges::count_if(write.elements, is_refused)),
                        write.elements.size());
    }
}

}  // namespace

ConfigService::ConfigService(ConfigDatabase& database, ConfigOutlet& outlet)
    : m_database(database),
      m_outlet(outlet),
      m_queue(database, [&outlet](const Elements& changes) { change_signals_send(outlet, changes); }),
      m_reads(database, m_queue),
      m_guarded(*this) {}

std::optional<std::string> ConfigService::handle_request(std::string_view name, std::string_view data,
                                                         uint32_t now_ms) {
    const auto [operation, argument] = split_name(name);
    if (operation == "read") {
        return m_reads.read(argument, data);
    }
    if (operation == "readv") {
        return m_reads.read_vector(argument, data);
    }
    if (operation == "modifyv") {
        return modify_vector(argument, data, now_ms);
    }
    if (operation == "readm") {
        return m_reads.read_pattern(argument);
    }
    if (operation == "stat") {
        return m_reads.stat(argument);
    }
    // What is meant to be for some keys must not take all.
    if (operation == "factory_reset" && argument.empty()) {
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
        is_understood = sync();
    } else if (operation == "validate") {
        is_understood = validate(argument, data, now_ms);
    }
    if (!is_understood) {
        logger_function(4, kModule, "signal '%s' of %zu bytes had no effect", text_for_log(name).c_str(),
                        data.size());
    }
}

std::string ConfigService::factory_reset() {
    m_queue.commit();
    const auto changes = m_database.reset_to_factory();
    if (changes) {
        change_signals_send(m_outlet, *changes);
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
    m_queue.settle(*pattern);
    PendingWrite deletes{{}, 0, log_refusal};
    for (const auto* entry : m_database.match(*pattern)) {
        deletes.elements.push_back({entry->first, {}, CONFIG_OK});
    }
    submit(std::move(deletes), now_ms);
    return true;
}

// A failure is in the log.
bool ConfigService::sync() {
    m_queue.commit();
    static_cast<void>(m_database.sync());
    return true;
}

bool ConfigService::validate(std::string_view step, std::string_view data, uint32_t now_ms) {
    if (step == "register") {
        const std::string name(data.substr(0, data.find('\0')));
        return !name.empty() && config_text_is_key(name) && m_guarded.register_validator(name, now_ms);
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
        after_verdict(std::move(write), now_ms);
    } else if (payload_bytes(write.elements) > ConfigOutlet::kMaxDataBytes ||
               write.elements.size() > GuardedWrites::kMaxElements) {
        write.elements.front().status = CONFIG_REFUSED;  // its validator could not be asked
        after_verdict(std::move(write), now_ms);
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

void ConfigService::after_verdict(PendingWrite write, uint32_t now_ms) {
    if (all_accepted(write.elements)) {
        m_queue.add(std::move(write), now_ms);
    } else {
        write.after_write(write);
    }
}
