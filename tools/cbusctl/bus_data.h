// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <string>
#include <string_view>

// The data of a message, which may be any bytes, for the user.

enum class DataForm { kAuto, kHex };

// Text without its NUL, printable, when the data is one: UTF-8 with one NUL, at its end. Else, and with kHex, hex text.
[[nodiscard]] std::string bus_data_text(std::string_view data, DataForm form);

// Adds "size" and, for data that is not empty, "text" or "hex" to the object.
void bus_data_add_to(cJSON* object, std::string_view data, DataForm form);
