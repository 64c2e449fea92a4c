// SPDX-License-Identifier: MIT

#include "device/cbusd/Acceptor.h"

#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "cbus/socket_helpers.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "cbusd";
// A crowd at the door leaves turns to the clients that are inside.
constexpr int kMaxAcceptsPerTurn = 64;

}  // namespace

UniqueFd bus_listen(const char* address) {
    UniqueFd listener(socket_create_server(address));
    // The helper's short queue of waiting clients is for a server of one client; this also refuses datagrams.
    if (!listener.valid() || listen(listener.get(), SOMAXCONN) < 0 ||
        socket_set_blocking(listener.get(), false) < 0) {
        return {};
    }
    return listener;
}

Acceptor::Acceptor(event_base* base, UniqueFd listener, uint32_t retry_ms, OnClient on_client)
    : m_listener(std::move(listener)),
      m_retry_ms(retry_ms),
      m_on_client(std::move(on_client)),
      m_accept_event(event_new(base, m_listener.get(), EV_READ | EV_PERSIST, on_acceptable, this)),
      m_retry_event(event_new(base, -1, 0, on_retry, this)) {
    event_add(m_accept_event.get(), nullptr);
}

void Acceptor::on_acceptable(evutil_socket_t, short, void* self) noexcept {
    static_cast<Acceptor*>(self)->accept_clients();
}

void Acceptor::on_retry(evutil_socket_t, short, void* self) noexcept {
    event_add(static_cast<Acceptor*>(self)->m_accept_event.get(), nullptr);
}

void Acceptor::accept_clients() {
    for (int i = 0; i < kMaxAcceptsPerTurn; ++i) {
        UniqueFd socket(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (socket.valid()) {
            m_is_short_of_descriptors = false;
            m_on_client(std::move(socket));
        } else if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
            rest(errno);
            return;
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return;
        }
        // Anything else concerns that one client, which has gone already.
    }
}

void Acceptor::rest(int error) {
    if (!m_is_short_of_descriptors) {
        logger_function(4, kModule, "no new clients for now: %s", strerror(error));
        m_is_short_of_descriptors = true;
    }
    event_del(m_accept_event.get());
    const timeval delay{m_retry_ms / 1000, static_cast<suseconds_t>(m_retry_ms % 1000) * 1000};
    event_add(m_retry_event.get(), &delay);
}
