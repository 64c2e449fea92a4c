// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "runtime/c_owner.h"

// FanOutFloor: a process of its own, pinned like the daemon, that does nothing but send one prepared text to many
// connections.
class FanOutFloor {
  public:
    explicit FanOutFloor(size_t receivers);
    FanOutFloor(const FanOutFloor&) = delete;
    FanOutFloor& operator=(const FanOutFloor&) = delete;
    ~FanOutFloor();

    // What each receiver takes, in microseconds: the median of that many rounds.
    double arrivalUs(size_t rounds);

  private:
    using Pair = std::pair<UniqueFd, UniqueFd>;  // the sender's end and the receiver's

    static Pair makePair();
    [[noreturn]] void sendForEver() const;
    void receiveAll() const;

    Pair m_turn;
    std::vector<Pair> m_connections;
    pid_t m_sender = -1;
};
