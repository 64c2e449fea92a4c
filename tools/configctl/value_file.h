#pragma once

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "src/base/owners.h"
#include "tools/common/input.h"
#include "tools/configctl/stored_value.h"

// The form of the factory file: one JSON object from key to text, integer of 32 bits or {"hex": "0a0b"}.

// In the order of the file. An error names the entry that is no such value, or comes twice.
[[nodiscard]] std::variant<std::vector<StoredEntry>, InputError> value_file_parse(const cJSON& json);

// A line for each entry, without a line end behind the last one; printable. Entries that the form cannot express are
// the caller's to leave out (config_value_survives_json).
[[nodiscard]] std::string value_file_text(const std::vector<StoredEntry>& entries);

// The same as one object.
[[nodiscard]] JsonPtr value_file_json(const std::vector<StoredEntry>& entries);

// What the entries take in one message of the bus.
[[nodiscard]] std::size_t value_file_message_bytes(const std::vector<StoredEntry>& entries);
