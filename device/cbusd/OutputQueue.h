// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "cbus/cbus_wire.h"

// OutputQueue: what a client has not taken yet. A message is written straight to the socket as far as that goes; only
// the rest waits here.
// Borrows: the non-blocking socket passed to each call.
// Errors:  kGone when the socket refuses for good; the queue is of no use afterwards: part of a message may be out.
// Units:   it has no limit of its own. Who sends looks at waiting_bytes().
class OutputQueue {
  public:
    enum class Result { kOk, kGone };

    [[nodiscard]] Result send(int socket, const cbus_header_t& header, std::span<const char> body);
    [[nodiscard]] Result flush(int socket);
    [[nodiscard]] size_t waiting_bytes() const { return m_waiting.size() - m_sent; }
    void clear();

  private:
    void drop_sent();

    std::string m_waiting;
    size_t m_sent = 0;  // bytes at the front of m_waiting that are out
};
