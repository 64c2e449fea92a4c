// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <string>

// JSON on its way out of the program. All throw std::bad_alloc without memory.

enum class JsonLayout { kOneLine, kIndented };

// One line for the daemon. It counts the braces inside strings too when it looks for the end of a message, so those
// are written as escapes.
[[nodiscard]] std::string json_wire_text(const cJSON& json);

// For the user, safe on a terminal: control characters in strings are escapes, DEL and those of 8 bits included, and
// bytes that are no UTF-8 are U+FFFD.
[[nodiscard]] std::string json_printable(const cJSON& json, JsonLayout layout);
