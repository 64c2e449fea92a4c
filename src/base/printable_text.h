// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// Text of others on its way to a terminal or a log.

// Safe on a terminal: control characters are escapes (\u001b), line ends, tabs, DEL and those of 8 bits included, and
// bytes that are no UTF-8 are U+FFFD.
[[nodiscard]] std::string text_printable(std::string_view text);

// The same, but control characters of 7 bits other than DEL stay.
[[nodiscard]] std::string text_without_high_controls(std::string_view text);

// No overlong forms, no surrogates.
[[nodiscard]] bool text_is_utf8(std::string_view text);

// What is not printable ASCII becomes a "?".
[[nodiscard]] std::string text_as_ascii(std::string_view text);

// The text itself; "(null)" for null, as printf() would show it.
[[nodiscard]] inline const char* text_or_null(const char* text) {
    return text != nullptr ? text : "(null)";
}

// A log line takes 299 characters.
inline constexpr std::size_t kMaxLoggedTextBytes = 200;

// As ASCII, so that it cannot look like a line of ours; what is too long is cut.
[[nodiscard]] std::string text_for_log(std::string_view text);
