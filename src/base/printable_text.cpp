// SPDX-License-Identifier: MIT

#include "src/base/printable_text.h"

#include <algorithm>
#include <cstdio>

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

std::string escape_of(unsigned int code_point) {
    char escape[sizeof "\\u0000"];
    std::snprintf(escape, sizeof escape, "\\u%04x", code_point & 0xFFFFU);
    return escape;
}

bool is_continuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// The length of the UTF-8 sequence in front, 0 when there is none. Overlong forms and surrogates are none.
std::size_t sequence_length(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    const auto second = text.size() > 1 ? static_cast<unsigned char>(text[1]) : 0U;
    std::size_t length = 0;
    if (first < 0x80) {
        length = 1;
    } else if (first >= 0xC2 && first <= 0xDF) {
        length = 2;
    } else if (first >= 0xE0 && first <= 0xEF) {
        const bool is_wrong = (first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F);
        length = is_wrong ? 0 : 3;
    } else if (first >= 0xF0 && first <= 0xF4) {
        const bool is_wrong = (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F);
        length = is_wrong ? 0 : 4;
    }
    for (std::size_t i = 1; i < length; ++i) {
        if (i >= text.size() || !is_continuation(text[i])) {
            return 0;
        }
    }
    return length;
}

// The control character that a sequence stands for, 0 for all others. Terminals obey those of 8 bits too.
unsigned int control_character(std::string_view sequence) {
    const auto first = static_cast<unsigned char>(sequence[0]);
    if (sequence.size() == 1) {
        return first == 0x7F ? first : 0;
    }
    const auto second = static_cast<unsigned char>(sequence[1]);
    return sequence.size() == 2 && first == 0xC2 && second < 0xA0 ? second : 0;
}

}  // namespace

std::string text_without_high_controls(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        const std::string_view sequence = text.substr(0, length);
        if (length == 0) {
            result += kReplacement;
        } else if (const unsigned int control = control_character(sequence); control != 0) {
            result += escape_of(control);
        } else {
            result += sequence;
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result;
}

std::string text_printable(std::string_view text) {
    std::string escaped;
    for (const char byte : text) {
        if (static_cast<unsigned char>(byte) < 0x20) {
            escaped += escape_of(static_cast<unsigned char>(byte));
        } else {
            escaped += byte;
        }
    }
    return text_without_high_controls(escaped);
}

bool text_is_utf8(std::string_view text) {
    while (!text.empty()) {
        const std::size_t length = sequence_length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

std::string text_as_ascii(std::string_view text) {
    std::string shown(text);
    std::ranges::replace_if(
        shown, [](char c) { return c < ' ' || c > '~'; }, '?');
    return shown;
}

std::string text_for_log(std::string_view text) {
    return text_as_ascii(text.substr(0, kMaxLoggedTextBytes));
}
