// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"
#include "device/configd/KeyPattern.h"
#include "fuzz_check.h"

namespace {

// What a pattern that can be parsed matches, found by reading it from left to right: behind each of its
// forms, all places of the key at which it may stand.
class PlainMatcher {
  public:
    PlainMatcher(std::string_view pattern, std::string_view key) : m_pattern(pattern), m_key(key) {}

    bool matches() {
        Places start = none();
        start.front() = true;
        return sequence(start).back() && m_key.size() <= kMaxKeyBytes;
    }

  private:
    using Places = std::vector<bool>;

    [[nodiscard]] Places none() const { return Places(m_key.size() + 1); }

    Places sequence(Places places) {
        while (m_at < m_pattern.size() && m_pattern[m_at] != '|' && m_pattern[m_at] != ')') {
            places = form(places);
        }
        return places;
    }
    Places form(const Places& from) {
        const char c = m_pattern[m_at++];
        switch (c) {
            case '(':
                return group(from);
            case '[':
                return set(from);
            case '*':
                return component(from);
            default:
                return text(from, {&c, 1});
        }
    }
    Places group(const Places& from) {
        Places to = none();
        do {
            add(to, sequence(from));
        } while (m_pattern[m_at++] == '|');
        return to;
    }
    Places set(const Places& from) {
        Places to = none();
        size_t end = 0;
        do {
            end = m_pattern.find_first_of(",]", m_at);
            add(to, text(from, m_pattern.substr(m_at, end - m_at)));
            m_at = end + 1;
        } while (m_pattern[end] == ',');
        return to;
    }
    [[nodiscard]] Places component(const Places& from) const {
        Places to = none();
        for (size_t at = 0; at < m_key.size(); ++at) {
            to[at + 1] = (from[at] || to[at]) && m_key[at] != '.';
        }
        return to;
    }
    [[nodiscard]] Places text(const Places& from, std::string_view wanted) const {
        Places to = none();
        for (size_t at = 0; at + wanted.size() <= m_key.size(); ++at) {
            to[at + wanted.size()] = from[at] && m_key.substr(at).starts_with(wanted);
        }
        return to;
    }
    static void add(Places& to, const Places& more) {
        std::transform(to.begin(), to.end(), more.begin(), to.begin(), std::logical_or<>());
    }

    std::string_view m_pattern;
    std::string_view m_key;
    size_t m_at = 0;
};

std::string_view take_line(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    return line;
}

bool is_key(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

}  // namespace

// A pattern, a key that is looked at, and another one that a leap from there may pass over, in a line each.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using Look = KeyPattern::Look;
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    const std::string_view text = take_line(rest);
    const std::string_view key = take_line(rest);
    const std::string_view other = take_line(rest);
    const auto pattern = KeyPattern::parse(text);
    if (!pattern) {
        return 0;
    }
    std::string leap;
    const Look look = pattern->look_at(key, leap);
    const bool is_other_match = PlainMatcher(text, other).matches();
    fuzz_check((look == Look::kMatches) == PlainMatcher(text, key).matches());
    fuzz_check(pattern->matches(other) == is_other_match);
    // Keys are looked for from this prefix on: one that matches without it would never be found.
    fuzz_check(look != Look::kMatches || key.starts_with(pattern->literal_prefix()));
    if (is_key(key) && is_key(other)) {
        // A leap that does not lead forward would never come to an end, and one over a match would lose it.
        fuzz_check(look != Look::kLeap || leap > key);
        const bool is_passed =
            key < other && (look == Look::kNoneBehind || (look == Look::kLeap && other < leap));
        fuzz_check(!is_passed || !is_other_match);
    }
    return 0;
}
