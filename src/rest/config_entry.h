// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "config_client/config_client_api.h"

// The value of a configuration entry as it came over the bus, which promises neither a terminator nor a size.

// The text of a string entry, up to its NUL or its length; empty for one without a value.
[[nodiscard]] std::string config_entry_text(const config_data_t& entry);

// The number of an integer entry; nothing when it has no value or one of another size.
[[nodiscard]] std::optional<std::int32_t> config_entry_int(const config_data_t& entry);

// The value of a string or an integer entry for a log line; empty for any other.
[[nodiscard]] std::string config_entry_printable(const config_data_t& entry);
