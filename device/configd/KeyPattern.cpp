#include "device/configd/KeyPattern.h"

#include <utility>

// Recursive descent over the text; every function leaves the position behind what it has read.
class KeyPattern::Parser {
  public:
    explicit Parser(std::string_view text) : m_text(text) {}

    std::optional<Sequence> whole() {
        Sequence sequence;
        if (m_text.size() > kMaxLength || !read_sequence(sequence, 0) || m_position != m_text.size()) {
            return std::nullopt;
        }
        return sequence;
    }

  private:
    // Up to the end or, in a group, to the "|" or ")" that ends the alternative.
    bool read_sequence(Sequence& sequence, int depth) {
        while (m_position < m_text.size()) {
            const char c = m_text[m_position];
            if (c == '|' || c == ')') {
                return depth > 0;
            }
            if (!read_node(sequence, depth)) {
                return false;
            }
        }
        return true;
    }

    bool read_node(Sequence& sequence, int depth) {
        const char c = m_text[m_position++];
        switch (c) {
            case '*':
                sequence.push_back({Kind::kComponent, {}, {}});
                return true;
            case '(':
                sequence.push_back({Kind::kAlternatives, {}, {}});
                return read_group(sequence.back(), depth + 1);
            case '[':
                sequence.push_back({Kind::kAlternatives, {}, {}});
                return read_set(sequence.back());
            case ']':
                return false;
            default:
                if (sequence.empty() || sequence.back().kind != Kind::kLiteral) {
                    sequence.push_back({Kind::kLiteral, {}, {}});
                }
                sequence.back().literal += c;
                return true;
        }
    }

    bool read_group(Node& node, int depth) {
        if (depth > kMaxDepth) {
            return false;
        }
        do {
            if (!read_sequence(node.alternatives.emplace_back(), depth) || m_position == m_text.size()) {
                return false;
            }
        } while (m_text[m_position++] == '|');
        return true;
    }

    bool read_set(Node& node) {
        const size_t end = m_text.find(']', m_position);
        if (end == std::string_view::npos) {
            return false;
        }
        while (m_position <= end) {
            const size_t next = m_text.find_first_of(",]", m_position);
            if (next == m_position) {
                return false;
            }
            Node text{Kind::kLiteral, std::string(m_text.substr(m_position, next - m_position)), {}};
            node.alternatives.push_back({std::move(text)});
            m_position = next + 1;
        }
        return true;
    }

    std::string_view m_text;
    size_t m_position = 0;
};

std::optional<KeyPattern> KeyPattern::parse(std::string_view text) {
    std::optional<Sequence> sequence = Parser(text).whole();
    if (!sequence) {
        return std::nullopt;
    }
    KeyPattern pattern;
    pattern.m_sequence = std::move(*sequence);
    if (!pattern.m_sequence.empty() && pattern.m_sequence.front().kind == Kind::kLiteral) {
        pattern.m_literal_prefix = pattern.m_sequence.front().literal;
    }
    return pattern;
}

bool KeyPattern::matches(std::string_view key) const {
    if (key.size() > kMaxKeyBytes) {
        return false;
    }
    Positions start;
    start.set(0);
    return advance(m_sequence, key, start).test(key.size());
}

// Where in the key the sequence may end when it begins at any of the given positions. All ways are followed at
// once, so that alternatives cost no backtracking.
KeyPattern::Positions KeyPattern::advance(const Sequence& sequence, std::string_view key, Positions from) {
    for (const Node& node : sequence) {
        if (from.none()) {
            break;
        }
        from = advance(node, key, from);
    }
    return from;
}

KeyPattern::Positions KeyPattern::advance(const Node& node, std::string_view key, const Positions& from) {
    Positions to;
    switch (node.kind) {
        case Kind::kLiteral:
            for (size_t at = 0; at + node.literal.size() <= key.size(); ++at) {
                if (from[at] && key.substr(at).starts_with(node.literal)) {
                    to.set(at + node.literal.size());
                }
            }
            break;
        case Kind::kComponent:
            for (size_t at = 0; at < key.size(); ++at) {
                if (key[at] != '.' && (from[at] || to[at])) {
                    to.set(at + 1);
                }
            }
            break;
        case Kind::kAlternatives:
            for (const Sequence& alternative : node.alternatives) {
                to |= advance(alternative, key, from);
            }
            break;
    }
    return to;
}
