#pragma once

#include <bitset>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigElement.h"

// KeyPattern: a set of keys written as one text.
//     *          one or more characters up to the next "." or the end: a whole component as a rule
//     (a|b|c)    one of these patterns
//     [1,2,3]    one of these texts
// Everything else stands for itself. The forms combine: "cfg.api.syslog.([1,2,3].selector|[1,2,3].action)".
// Errors: parse() answers nothing for brackets that do not match, an empty set, more than kMaxLength characters or
//         groups nested deeper than kMaxDepth.
// Cost:   of a match, at most the product of the lengths of pattern and key: no pattern makes it explode.
class KeyPattern {
  public:
    static constexpr size_t kMaxLength = 511;
    static constexpr int kMaxDepth = 16;

    [[nodiscard]] static std::optional<KeyPattern> parse(std::string_view text);

    // Keys beyond kMaxKeyBytes never match.
    [[nodiscard]] bool matches(std::string_view key) const;
    // What every matching key begins with.
    [[nodiscard]] const std::string& literal_prefix() const { return m_literal_prefix; }

  private:
    class Parser;
    struct Node;
    using Sequence = std::vector<Node>;
    using Positions = std::bitset<kMaxKeyBytes + 1>;

    enum class Kind { kLiteral, kComponent, kAlternatives };
    struct Node {
        Kind kind;
        std::string literal;
        std::vector<Sequence> alternatives;
    };

    static Positions advance(const Sequence& sequence, std::string_view key, Positions from);
    static Positions advance(const Node& node, std::string_view key, const Positions& from);

    Sequence m_sequence;
    std::string m_literal_prefix;
};
