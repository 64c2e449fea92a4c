// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "device/cbusd/client_id.h"

// StallWatch: which receivers have taken nothing for how long while more than a limit of bytes waits for them.
// Units: milliseconds of px_time_ms(), which may wrap.
class StallWatch {
  public:
    explicit StallWatch(size_t limit_bytes) : m_limit_bytes(limit_bytes) {}

    void note_written(ClientId receiver, size_t waiting_bytes, uint32_t now_ms);
    void note_taken(ClientId receiver, size_t waiting_bytes, uint32_t now_ms);
    // Gives the receiver its whole time again.
    void restart(ClientId receiver, uint32_t now_ms);
    void remove(ClientId receiver) { m_since_ms.erase(receiver); }

    // Those that have taken nothing for the time given, the longest first.
    [[nodiscard]] std::vector<ClientId> stalled(uint32_t now_ms, uint32_t time_ms) const;

  private:
    size_t m_limit_bytes;
    std::map<ClientId, uint32_t> m_since_ms;  // of those above the limit
};
