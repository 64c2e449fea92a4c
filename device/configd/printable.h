#pragma once

#include <algorithm>
#include <string>
#include <string_view>

// A log line takes 299 characters.
constexpr size_t kMaxShownBytes = 200;

// A text of a client for a log line: what is not printable becomes a "?", so that it cannot look like a line of ours. What is too
// long is cut.
[[nodiscard]] inline std::string printable(std::string_view text) {
    std::string shown(text.substr(0, kMaxShownBytes));
    std::ranges::replace_if(
        shown, [](char c) { return c < ' ' || c > '~'; }, '?');
    return shown;
}
