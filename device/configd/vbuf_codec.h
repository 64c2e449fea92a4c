#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"

// The vector payload from the database's side.

// The entries of a payload; nothing when its lengths do not fit, a name has no NUL or bytes are left over: unlike
// the clients, who trust the database, the database trusts nobody.
[[nodiscard]] std::optional<std::vector<ConfigElement>> vbuf_decode(std::string_view payload);

// Appends one entry. `name` holds no NUL.
void vbuf_append(std::string& payload, std::string_view name, const ConfigValue& value, int32_t status);

// Bytes that an entry with a name and data of these sizes takes.
[[nodiscard]] size_t vbuf_entry_bytes(size_t name_bytes, size_t data_bytes);
