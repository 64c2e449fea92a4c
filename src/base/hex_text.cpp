// SPDX-License-Identifier: MIT

#include "src/base/hex_text.h"

#include <charconv>

std::string hex_text(std::string_view bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const char byte : bytes) {
        const auto value = static_cast<unsigned char>(byte);
        text += kDigits[value >> 4U];
        text += kDigits[value & 0xFU];
    }
    return text;
}

std::optional<std::string> hex_bytes(std::string_view text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const std::string_view pair = text.substr(i, 2);
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
        if (pair.size() != 2 || error != std::errc() || end != pair.data() + pair.size()) {
            return std::nullopt;
        }
        bytes += static_cast<char>(byte);
    }
    return bytes;
}
