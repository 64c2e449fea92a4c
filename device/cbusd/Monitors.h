// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <span>
#include <string_view>

#include "device/cbusd/ClientConnection.h"

// Monitors: clients that see everything that passes the bus: a copy of each message for each of its receivers, as a
// signal "cbus.monitor".
//   The bus never waits for a monitor: when more than the limit would wait for it, copies are left out until it has
//   nearly caught up. Then a copy from the broker to itself, a signal "cbus.monitor.lost", tells how many.
// Borrows: the clients, from add() to remove().
class Monitors {
  public:
    struct Limits {
        size_t waiting_bytes = size_t{8} << 20;
        size_t caught_up_bytes = size_t{1} << 20;
    };
    explicit Monitors(const Limits& limits) : m_limits(limits) {}

    // Twice is as good as once.
    void add(ClientConnection& client) { m_monitors.try_emplace(client.id(), Monitor{&client, 0}); }
    void remove(ClientId client) { m_monitors.erase(client); }
    [[nodiscard]] bool has(ClientId client) const { return m_monitors.contains(client); }

    // A message as it was delivered.
    void copy(ClientId from, ClientId to, const cbus_header_t& header, std::span<const char> body);
    // Some of what waited for this client went out.
    void note_taken(ClientId client);

  private:
    struct Monitor {
        ClientConnection* client;
        uint32_t lost;  // copies since it fell behind; 0 when it has not
    };
    void tell_lost(Monitor& monitor) const;

    Limits m_limits;
    std::map<ClientId, Monitor> m_monitors;
};
