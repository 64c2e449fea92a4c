// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <variant>

#include "src/base/owners.h"
#include "tools/common/input.h"

// The data of a call as the command line gives it: JSON, "-" for JSON on standard input, "@FILE" for JSON in a file.
// Never a null JsonPtr. Text behind the value and NUL characters are errors, as the daemon would not take them; so is
// more than a message may hold. Blocks until the input ends.
[[nodiscard]] std::variant<JsonPtr, InputError> payload_read(const std::string& argument);
