// SPDX-License-Identifier: MIT

#pragma once

#include <optional>
#include <string>
#include <string_view>

// Bytes as two digits each. Digits are written small and read either way; nothing for an odd or a wrong digit.
[[nodiscard]] std::string hex_text(std::string_view bytes);
[[nodiscard]] std::optional<std::string> hex_bytes(std::string_view text);
