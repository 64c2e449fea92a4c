// SPDX-License-Identifier: MIT

#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <string_view>

// Fixed structures as bytes of a message, and the keys that its names stand for.

template <class T>
[[nodiscard]] std::string bytes_of(const T& value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

// Nothing when the data is shorter.
template <class T>
[[nodiscard]] std::optional<T> take(std::string_view data) {
    T value{};
    if (data.size() < sizeof value) {
        return std::nullopt;
    }
    memcpy(&value, data.data(), sizeof value);
    return value;
}

// Of a vector operation with this prefix, which may be empty.
[[nodiscard]] inline std::string full_key(std::string_view prefix, std::string_view name) {
    return prefix.empty() ? std::string(name) : std::string(prefix).append(".").append(name);
}
