// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <csignal>

#include "runtime/c_owner.h"

using Deadline = std::chrono::steady_clock::time_point;
constexpr Deadline kNoDeadline = Deadline::max();

// Interruption: waits for descriptors, and what ends every wait: at first nothing, then what is added.
// Borrows: the output passed in.
// Threads: the main thread of a process that has no other: signals are blocked for the calling thread alone.
class Interruption {
  public:
    enum class Wakeup { kReady, kTimeLimit, kInterrupted };

    Interruption() = default;
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    // Gives the signals back as they were; those that came meanwhile are gone.
    ~Interruption();

    // From now on SIGINT and SIGTERM end waits, this one and all that follow, instead of the process. False when the
    // system refuses.
    [[nodiscard]] bool addSignals();
    // Ends waits when nobody can read any more what is written there.
    void addReaderOf(int output) { m_output = output; }

    // Waits until the descriptor is ready for `events` (those of poll(); -1 for none at all) or has failed. An
    // interruption goes before a ready descriptor.
    [[nodiscard]] Wakeup await(int fd, short events, Deadline deadline) const;

  private:
    int m_output = -1;
    UniqueFd m_signals;
    sigset_t m_mask_before{};
};
