// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "src/base/owners.h"

// A value of the configuration database (types of config_client_api.h), which may be any bytes whatever its type says.

// "none", "string", "int", "binary", else "type-N".
[[nodiscard]] std::string config_type_name(std::uint32_t type);

// Printable: the text up to its NUL, the number, or all bytes as hex text for other types and what is no number.
[[nodiscard]] std::string config_value_text(std::uint32_t type, std::string_view bytes);

// As the factory file writes it: text, integer or {"hex": "0a0b"}; null for no value.
[[nodiscard]] JsonPtr config_value_json(std::uint32_t type, std::string_view bytes);

// Whether that JSON, read again, gives the same type and bytes: a text that is no UTF-8 or has a NUL in its midst, and
// types without a name of their own, do not come back.
[[nodiscard]] bool config_value_survives_json(std::uint32_t type, std::string_view bytes);

// What a status of the database means.
[[nodiscard]] std::string config_status_text(std::int32_t status);
