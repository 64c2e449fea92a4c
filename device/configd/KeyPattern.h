// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// KeyPattern: a set of keys written as one text.
//     *          one or more characters up to the next "." or the end: a whole component as a rule
//     (a|b|c)    one of these patterns
//     [1,2,3]    one of these texts
// Everything else stands for itself. The forms combine: "cfg.api.syslog.([1,2,3].selector|[1,2,3].action)".
// Errors: parse() answers nothing for brackets that do not match, an empty set, more than kMaxLength characters or
//         groups nested deeper than kMaxDepth.
// Cost:   of a look at a key, at most the product of the lengths of pattern and key: no pattern makes it explode.
class KeyPattern {
  public:
    static constexpr size_t kMaxLength = 511;
    static constexpr int kMaxDepth = 16;

    // What a key is to somebody who goes through keys in their order.
    enum class Look {
        kMatches,
        kNextKey,    // it does not match; the next one may
        kLeap,       // no key before the text given with it matches
        kNoneBehind  // neither does any behind it
    };

    [[nodiscard]] static std::optional<KeyPattern> parse(std::string_view text);

    // Keys beyond kMaxKeyBytes never match. `leap` is touched for kLeap only; it is greater than the key.
    [[nodiscard]] Look look_at(std::string_view key, std::string& leap) const;
    [[nodiscard]] bool matches(std::string_view key) const;
    // What every matching key begins with.
    [[nodiscard]] const std::string& literal_prefix() const { return m_literal_prefix; }

  private:
    class Parser;
    class Compiler;
    class Walk;

    enum class Kind { kEnd, kByte, kNotDot, kFork };
    // Of the automaton that the pattern becomes. A fork goes on in all its targets at once, the others behind the
    // character that they take.
    struct State {
        Kind kind;
        char byte;  // that kByte takes
        std::vector<uint16_t> targets;
    };

    void leap_further(std::string& leap) const;

    std::vector<State> m_states;  // the first is the end
    uint16_t m_start = 0;
    std::string m_literal_prefix;
};
