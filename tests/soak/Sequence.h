// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <utility>

#include "Tally.h"

// Sequence: numbers that a listener has to hear one after the other, each once. It may begin anywhere.
// Borrows: the tally, which hears of what is missing and of what comes again.
class Sequence {
  public:
    Sequence(Tally& tally, std::string kind) : m_tally(tally), m_kind(std::move(kind)) {}

    void hear(long number) {
        if (m_last != 0 && number <= m_last) {
            m_tally.countDoubled(m_kind, std::to_string(number) + " after " + std::to_string(m_last));
            return;
        }
        if (m_last != 0 && number > m_last + 1) {
            m_tally.countLost(m_kind, number - m_last - 1,
                              std::to_string(number) + " after " + std::to_string(m_last));
        }
        m_last = number;
    }
    // The last one that was heard, 0 for none.
    [[nodiscard]] long last() const { return m_last; }

  private:
    Tally& m_tally;
    std::string m_kind;
    long m_last = 0;
};
