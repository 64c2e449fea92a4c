// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "device/configd/KeyPattern.h"

// A pattern, a line end, a key.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const size_t end = std::min(text.find('\n'), size);
    const std::string_view key = end < size ? text.substr(end + 1) : std::string_view();
    if (const auto pattern = KeyPattern::parse(text.substr(0, end))) {
        std::string leap;
        const KeyPattern::Look look = pattern->look_at(key, leap);
        // Keys are looked for from this prefix on: one that matches without it would never be found.
        if (look == KeyPattern::Look::kMatches && !key.starts_with(pattern->literal_prefix())) {
            __builtin_trap();
        }
        // A leap that does not lead forward would never come to an end.
        const bool is_key = std::all_of(key.begin(), key.end(), [](char c) { return c > ' ' && c <= '~'; });
        if (look == KeyPattern::Look::kLeap && is_key && leap <= key) {
            __builtin_trap();
        }
    }
    return 0;
}
