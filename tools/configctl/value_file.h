// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "config_values/ConfigValue.h"
#include "src/base/owners.h"

// Entries in the form of the factory file (config_values/value_json.h).

// A line for each entry, without a line end behind the last one; printable. Entries that the form cannot express are
// the caller's to leave out (config_value_survives_json).
[[nodiscard]] std::string value_file_text(const std::vector<ConfigEntry>& entries);

// The same as one object.
[[nodiscard]] JsonPtr value_file_json(const std::vector<ConfigEntry>& entries);

// What the entries take in one message of the bus.
[[nodiscard]] std::size_t value_file_message_bytes(const std::vector<ConfigEntry>& entries);
