// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <optional>
#include <string>

#include "device/configd/ConfigElement.h"

// Keys and values in the order of the keys.
using ConfigValues = std::map<std::string, ConfigValue, std::less<>>;

// Reads factory values (form: value_json.h).
// Errors: nothing, and one line on standard error that names the key, for a file that cannot be read, is no such
//         object, names a key twice or a key or value that could not be written either.
[[nodiscard]] std::optional<ConfigValues> factory_file_read(const char* path);
