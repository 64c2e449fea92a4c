// SPDX-License-Identifier: MIT

#include "src/base/environment_number.h"

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <system_error>

std::uint64_t environment_number(const char* variable, std::uint64_t otherwise) {
    const char* value = getenv(variable);
    const std::string_view text(value != nullptr ? value : "");
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number > 0 ? number : otherwise;
}
