// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "src/base/owners.h"

// ConfigPayload: the data of a message of the configuration database ("config." in front of its name), taken apart. The
// bytes may come from anybody.
struct ConfigPayload {
    struct Entry {
        std::string key;
        std::uint32_t type = 0;
        std::int32_t status = 0;
        std::string bytes;
        bool has_value = false;
    };

    std::optional<std::int32_t> status;        // of a reply for one key
    std::optional<std::uint32_t> information;  // of a reply to stat
    std::optional<std::string> text;           // the name of a validator
    std::vector<Entry> entries;
    bool is_malformed = false;  // the rest is what could be read before
};

enum class ConfigMessageKind { kSignal, kRequest, kReply };

// Nothing for a name that is none of the database's, and for messages that carry nothing.
[[nodiscard]] std::optional<ConfigPayload> config_payload_parse(ConfigMessageKind kind, std::string_view name,
                                                                std::string_view data);

// Printable: "cfg.a = text, cfg.b deleted"; statuses other than 0 behind their key.
[[nodiscard]] std::string config_payload_text(const ConfigPayload& payload);
[[nodiscard]] JsonPtr config_payload_json(const ConfigPayload& payload);
