// SPDX-License-Identifier: MIT

#include "device/configd/KeyPattern.h"

#include <algorithm>
#include <utility>

#include "device/configd/ConfigElement.h"

namespace {

enum class Form { kLiteral, kComponent, kAlternatives };

struct Node {
    Form form;
    std::string literal;
    std::vector<std::vector<Node>> alternatives;
};
using Sequence = std::vector<Node>;

}  // namespace

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
                sequence.push_back({Form::kComponent, {}, {}});
                return true;
            case '(':
                sequence.push_back({Form::kAlternatives, {}, {}});
                return read_group(sequence.back(), depth + 1);
            case '[':
                sequence.push_back({Form::kAlternatives, {}, {}});
                return read_set(sequence.back());
            case ']':
                return false;
            default:
                if (sequence.empty() || sequence.back().form != Form::kLiteral) {
                    sequence.push_back({Form::kLiteral, {}, {}});
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
            Node text{Form::kLiteral, std::string(m_text.substr(m_position, next - m_position)), {}};
            node.alternatives.push_back({std::move(text)});
            m_position = next + 1;
        }
        return true;
    }

    std::string_view m_text;
    size_t m_position = 0;
};

// From the end to the beginning, so that the state behind each is known.
class KeyPattern::Compiler {
  public:
    explicit Compiler(std::vector<State>& states) : m_states(states) { m_states = {{Kind::kEnd, 0, {}}}; }

    // The state in which the sequence begins when `next` comes behind it.
    uint16_t add(const Sequence& sequence, uint16_t next) {
        for (auto node = sequence.rbegin(); node != sequence.rend(); ++node) {
            next = add(*node, next);
        }
        return next;
    }

  private:
    uint16_t add(const Node& node, uint16_t next) {
        switch (node.form) {
            case Form::kLiteral:
                for (auto byte = node.literal.rbegin(); byte != node.literal.rend(); ++byte) {
                    next = add(State{Kind::kByte, *byte, {next}});
                }
                return next;
            case Form::kComponent: {
                const uint16_t again = add(State{Kind::kFork, 0, {next}});
                const uint16_t any = add(State{Kind::kNotDot, 0, {again}});
                m_states[again].targets.push_back(any);
                return any;
            }
            case Form::kAlternatives: {
                State fork{Kind::kFork, 0, {}};
                for (const Sequence& alternative : node.alternatives) {
                    fork.targets.push_back(add(alternative, next));
                }
                return add(std::move(fork));
            }
        }
        return next;
    }

    // A character of the pattern makes two states at most: they can be counted in 16 bits.
    uint16_t add(State state) {
        m_states.push_back(std::move(state));
        return static_cast<uint16_t>(m_states.size() - 1);
    }

    std::vector<State>& m_states;
};

// The states in which the automaton is behind a part of a key: all at once, so that alternatives cost no backtracking.
class KeyPattern::Walk {
  public:
    explicit Walk(const KeyPattern& pattern) : m_pattern(pattern), m_seen(pattern.m_states.size()) {
        enter(pattern.m_start);
    }

    // False when no key that goes on like this matches; the walk is over then.
    [[nodiscard]] bool step(char c) {
        m_before.swap(m_taking);
        m_taking.clear();
        m_is_at_end = false;
        ++m_round;
        for (const uint16_t id : m_before) {
            const State& state = m_pattern.m_states[id];
            if (state.kind == Kind::kByte ? state.byte == c : c != '.') {
                enter(state.targets.front());
            }
        }
        return !m_taking.empty() || m_is_at_end;
    }

    [[nodiscard]] bool is_at_end() const { return m_is_at_end; }

    // The least character greater than `c` that step() would take and a key may hold; nothing when there is none.
    [[nodiscard]] std::optional<char> next_taken(char c) const {
        std::optional<char> least;
        for (const uint16_t id : m_taking) {
            const State& state = m_pattern.m_states[id];
            const char taken =
                state.kind == Kind::kByte ? state.byte : static_cast<char>(c + 1 == '.' ? '/' : c + 1);
            if (taken > c && taken <= '~') {
                least = std::min(taken, least.value_or(taken));
            }
        }
        return least;
    }

    // The least character that step() would take; nothing where a key may end or almost any character do.
    [[nodiscard]] std::optional<char> least_if_listed() const {
        const bool is_listed = std::ranges::all_of(
            m_taking, [this](uint16_t id) { return m_pattern.m_states[id].kind == Kind::kByte; });
        return is_listed && !m_is_at_end ? next_taken(' ') : std::nullopt;
    }

  private:
    void enter(uint16_t first) {
        m_to_enter.push_back(first);
        while (!m_to_enter.empty()) {
            const uint16_t id = m_to_enter.back();
            m_to_enter.pop_back();
            if (std::exchange(m_seen[id], m_round) == m_round) {
                continue;
            }
            const State& state = m_pattern.m_states[id];
            switch (state.kind) {
                case Kind::kEnd:
                    m_is_at_end = true;
                    break;
                case Kind::kFork:
                    m_to_enter.insert(m_to_enter.end(), state.targets.begin(), state.targets.end());
                    break;
                default:
                    m_taking.push_back(id);
            }
        }
    }

    const KeyPattern& m_pattern;
    std::vector<uint16_t> m_taking;    // a character each, none of them a fork
    std::vector<uint16_t> m_before;    // those of the step before
    std::vector<uint16_t> m_to_enter;  // empty between calls
    bool m_is_at_end = false;
    std::vector<uint16_t> m_seen;  // the round in which each state was entered last
    uint16_t m_round = 1;
};

std::optional<KeyPattern> KeyPattern::parse(std::string_view text) {
    const std::optional<Sequence> sequence = Parser(text).whole();
    if (!sequence) {
        return std::nullopt;
    }
    KeyPattern pattern;
    pattern.m_start = Compiler(pattern.m_states).add(*sequence, 0);
    if (!sequence->empty() && sequence->front().form == Form::kLiteral) {
        pattern.m_literal_prefix = sequence->front().literal;
    }
    return pattern;
}

// Where the pattern leaves the key, keys that go on like it are leapt over: to the least text that the pattern takes
// and that is greater. It differs from the key as far behind as possible.
KeyPattern::Look KeyPattern::look_at(std::string_view key, std::string& leap) const {
    if (key.size() > kMaxKeyBytes) {
        return Look::kNextKey;
    }
    Walk walk(*this);
    std::optional<char> greater;
    size_t greater_at = 0;
    for (size_t at = 0; at < key.size(); ++at) {
        if (const std::optional<char> taken = walk.next_taken(key[at])) {
            greater = taken;
            greater_at = at;
        }
        if (!walk.step(key[at])) {
            if (!greater) {
                return Look::kNoneBehind;
            }
            leap = std::string(key.substr(0, greater_at)) + *greater;
            leap_further(leap);
            return Look::kLeap;
        }
    }
    return walk.is_at_end() ? Look::kMatches : Look::kNextKey;
}

// Not one character of an alternative after the other, but the whole of it at once.
void KeyPattern::leap_further(std::string& leap) const {
    Walk walk(*this);
    for (const char c : leap) {
        static_cast<void>(walk.step(c));
    }
    for (auto next = walk.least_if_listed(); next && leap.size() <= kMaxKeyBytes;
         next = walk.least_if_listed()) {
        leap += *next;
        static_cast<void>(walk.step(*next));
    }
}

bool KeyPattern::matches(std::string_view key) const {
    std::string leap;
    return look_at(key, leap) == Look::kMatches;
}
