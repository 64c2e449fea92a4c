// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>

#include "runtime/c_owner.h"
#include "src/base/owners.h"

// A non-blocking socket that listens on a bus address; none, with errno, when the address is bad (EINVAL), of no
// stream or in use.
[[nodiscard]] UniqueFd bus_listen(const char* address);

// Acceptor: takes new clients from the listening socket.
// Borrows:   the loop; it outlives this object.
// Callbacks: on_client with each new socket (non-blocking, close-on-exec). It does not destroy the acceptor.
// Errors:    without a free descriptor it rests and tries again after retry_ms, with one log line until it succeeds:
//            a client that cannot be accepted keeps the socket readable, and the loop would spin.
class Acceptor {
  public:
    using OnClient = std::function<void(UniqueFd)>;

    Acceptor(event_base* base, UniqueFd listener, uint32_t retry_ms, OnClient on_client);
    Acceptor(const Acceptor&) = delete;
    Acceptor& operator=(const Acceptor&) = delete;

  private:
    static void on_acceptable(evutil_socket_t, short, void* self) noexcept;
    static void on_retry(evutil_socket_t, short, void* self) noexcept;
    void accept_clients();
    void rest(int error);

    UniqueFd m_listener;
    uint32_t m_retry_ms;
    OnClient m_on_client;
    bool m_is_short_of_descriptors = false;
    EventPtr m_accept_event;
    EventPtr m_retry_event;
};
