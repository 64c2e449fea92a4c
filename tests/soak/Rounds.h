// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Rounds: changes of one key, each made when all who listen have heard of the one before. They tell who writes through
//   the daemon how far it has come: what the database announces reaches the daemon in order, so that after some rounds
//   the echo of an earlier write has passed, and cannot be taken for a new value.
// Threads: any.
class Rounds {
  public:
    void finishOne() {
        const std::scoped_lock lock(m_lock);
        ++m_finished;
        m_changed.notify_all();
    }
    // Waits for so many that begin after the call; false when that takes more than thirty seconds.
    [[nodiscard]] bool await(long count) {
        std::unique_lock lock(m_lock);
        // The one under way does not count.
        const long end = m_finished + count + 1;
        return m_changed.wait_for(lock, std::chrono::seconds(30), [&] { return m_finished >= end; });
    }

  private:
    std::mutex m_lock;
    std::condition_variable m_changed;
    long m_finished = 0;
};
