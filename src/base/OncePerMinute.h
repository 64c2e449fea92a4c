// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <optional>
#include <utility>

// OncePerMinute: lets a line through once a minute that somebody else could have written at will, and would fill the
// log with.
class OncePerMinute {
  public:
    using Clock = std::chrono::steady_clock;

    // Counts an occasion for the line: 0 when nothing is to be said, or the number of occasions that the line stands
    // for, this one included.
    [[nodiscard]] unsigned long take(Clock::time_point now = Clock::now()) {
        ++m_occasions;
        if (m_last && now - *m_last < std::chrono::minutes(1)) {
            return 0;
        }
        m_last = now;
        return std::exchange(m_occasions, 0);
    }

  private:
    std::optional<Clock::time_point> m_last;
    unsigned long m_occasions = 0;
};
