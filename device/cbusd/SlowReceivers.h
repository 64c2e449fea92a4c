// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "device/cbusd/FlowControl.h"
#include "device/cbusd/StallWatch.h"
#include "device/cbusd/client_id.h"

// SlowReceivers: which receivers have to go because they take too little.
//   - One that takes nothing while a lot waits, or, for longer, while somebody is kept waiting for it.
//   - One that takes something now and then, but does not empty its queue in the time that FlowControl gives it.
// Borrows: the flow control, which is told of the same things; it outlives this object.
// Units:   milliseconds of px_time_ms(), which may wrap.
class SlowReceivers {
  public:
    struct Limits {
        size_t stalled_bytes = size_t{8} << 20;
        uint32_t stalled_ms = 10'000;  // without taking anything, while more than stalled_bytes wait
        uint32_t holding_ms = 60'000;  // the same while others are held for it; also see FlowControl
    };
    struct Slow {
        ClientId id;
        std::string how;  // for the log
    };
    SlowReceivers(const Limits& limits, FlowControl& flow)
        : m_limits(limits),
          m_flow(flow),
          m_stalled(limits.stalled_bytes),
          m_holding(flow.limits().nearly_empty_bytes) {}

    void note_written(ClientId receiver, size_t waiting_bytes, uint32_t now_ms);
    void note_taken(ClientId receiver, size_t waiting_bytes, uint32_t now_ms);
    // Gives the receiver its whole time again.
    void restart(ClientId receiver, uint32_t now_ms);
    void remove(ClientId receiver);

    // The worst first; one that is slow in several ways comes as often.
    [[nodiscard]] std::vector<Slow> at(uint32_t now_ms) const;

  private:
    Limits m_limits;
    FlowControl& m_flow;
    StallWatch m_stalled;
    StallWatch m_holding;
};
