// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"

// The vector payload (config_vbuf.h) as the elements of the database.

// Nothing when a part of the payload is no entry: unlike the clients, who trust the database, the database
// trusts nobody.
[[nodiscard]] std::optional<std::vector<ConfigElement>> vbuf_decode(std::string_view payload);

// Appends one entry. `name` holds no NUL.
void vbuf_append(std::string& payload, std::string_view name, const ConfigValue& value, int32_t status);
