// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "config_client/config_client_api.h"
#include "config_values/ConfigValue.h"

// What the database holds and what moves through it.

// One key of a read, write or announcement.
struct ConfigElement {
    std::string key;
    ConfigValue value;
    int32_t status = 0;
};

// Where the values of a key are kept.
enum class KeyTree {
    kUnknown,     // nowhere: writes are refused
    kPersistent,  // "cfg." and "txt.": in the store
    kVolatile     // "ram." and "dyn.": in memory
};

constexpr size_t kMaxKeyBytes = 255;
constexpr size_t kMaxValueBytes = kConfigMaxValueBytes;

// Not longer than a key, all of it printable characters without blanks.
[[nodiscard]] bool config_text_is_key(std::string_view text);

[[nodiscard]] KeyTree config_key_tree(std::string_view key);

// 0, or why the element cannot be written: CONFIG_REFUSED for a key that is too long, holds blanks or unprintable
// characters or lies in no tree; CONFIG_MISMATCH for a value that is too large or does not fit its type.
constexpr int32_t CONFIG_REFUSED = -1;
[[nodiscard]] int32_t config_element_check(const ConfigElement& element);
