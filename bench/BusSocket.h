// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

#include "runtime/c_owner.h"

// BusSocket: a client of the bus without a library: whole messages, written and read with one call each, so that a
// figure is the broker's and not the client's.
class BusSocket {
  public:
    // What every message here takes on the wire.
    static constexpr size_t kMessageBytes = 64;

    // Ends the program when the bus is not there.
    explicit BusSocket(const std::string& address);

    // Tells the bus: "cbus.filter" or "cbus.provide".
    void tell(const char* what, const std::string& text);
    // A message of kMessageBytes of the type (cbus_type_t) and name; reused for as many writes as wanted.
    [[nodiscard]] static std::string message(int type, const std::string& name);

    void write(const std::string& message);
    // At most 64 KiB of what is there, waiting for some: how many bytes.
    size_t read();
    [[nodiscard]] const char* received() const { return m_received; }
    [[nodiscard]] bool hasArrived() const;

  private:
    UniqueFd m_socket;
    alignas(4) char m_received[65536]{};
};
