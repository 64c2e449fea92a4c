// SPDX-License-Identifier: MIT

#pragma once

#include <string>

// Paint: colours words for a terminal, or leaves them as they are.
class Paint {
  public:
    enum class Colour { kGood = 32, kNotable = 33, kBad = 31, kName = 36 };

    Paint() = default;
    explicit Paint(bool is_on) : m_is_on(is_on) {}

    // `text` has to be printable.
    [[nodiscard]] std::string operator()(Colour colour, const std::string& text) const {
        return m_is_on ? "\x1b[" + std::to_string(static_cast<int>(colour)) + "m" + text + "\x1b[0m" : text;
    }

  private:
    bool m_is_on = false;
};
