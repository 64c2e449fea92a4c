// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <variant>

#include "src/base/owners.h"

struct InputError {
    std::string text;
};

// The whole of a file, or of standard input for "-". An input of more than `limit` bytes is an error. Blocks until the
// input ends.
[[nodiscard]] std::variant<std::string, InputError> input_read(const std::string& path, std::size_t limit);

// The JSON of a whole text, never null. Text behind the value and NUL characters are errors.
[[nodiscard]] std::variant<JsonPtr, InputError> input_parse(const std::string& text);
