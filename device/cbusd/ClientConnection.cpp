// SPDX-License-Identifier: MIT

#include "device/cbusd/ClientConnection.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "runtime/logging.h"
#include "runtime/px_time.h"

namespace {

constexpr const char* kModule = "cbusd";

// The other end has closed, or will say no more.
bool has_hung_up(int socket) {
    pollfd watched{socket, POLLRDHUP, 0};
    return poll(&watched, 1, 0) == 1;
}

}  // namespace

ClientConnection::ClientConnection(event_base* base, UniqueFd socket, ClientId id, PeerIdentity peer,
                                   Owner& owner)
    : m_id(id),
      m_peer(std::move(peer)),
      m_owner(owner),
      m_socket(std::move(socket)),
      m_read_event(event_new(base, m_socket.get(), EV_READ | EV_PERSIST, on_readable, this)),
      m_backlog_event(event_new(base, -1, 0, on_readable, this)),
      m_write_event(event_new(base, m_socket.get(), EV_WRITE | EV_PERSIST, on_writable, this)) {
    event_add(m_read_event.get(), nullptr);
}

void ClientConnection::on_readable(evutil_socket_t, short, void* self) noexcept {
    static_cast<ClientConnection*>(self)->read_messages();
}

void ClientConnection::on_writable(evutil_socket_t, short, void* self) noexcept {
    static_cast<ClientConnection*>(self)->write_waiting();
}

// One receive a turn, so that a client that never stops sending leaves turns to the others.
void ClientConnection::read_messages() {
    // What a hold or a pause has left in the reader comes before anything new.
    if (std::exchange(m_is_paused, false)) {
        event_add(m_read_event.get(), nullptr);
    }
    handle_messages();
    if (!is_open() || m_is_held || m_is_paused) {
        return;
    }
    const std::span<char> room = m_reader.room();
    const ssize_t n = recv(m_socket.get(), room.data(), room.size(), MSG_DONTWAIT);
    if (n > 0) {
        m_reader.commit(static_cast<size_t>(n));
        handle_messages();
    } else if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
        close();
    }
}

void ClientConnection::handle_messages() {
    BusMessage message;
    bool has_handled_some = false;
    while (is_open() && !m_is_held && !m_is_paused) {
        switch (m_reader.next(message)) {
            case MessageReader::Result::kMessage:
                ++m_messages_in;
                if (!m_owner.on_message(*this, message)) {
                    --m_messages_in;
                    m_reader.put_back(message);
                    return;
                }
                has_handled_some = true;
                break;
            case MessageReader::Result::kIncomplete:
                note_incomplete(has_handled_some);
                return;
            case MessageReader::Result::kMalformed:
                refuse("malformed message");
                return;
        }
    }
}

void ClientConnection::note_incomplete(bool is_new) {
    const bool has_incomplete = m_reader.pending_bytes() > 0;
    if (has_incomplete && (is_new || !m_has_incomplete)) {
        m_incomplete_since_ms = px_time_ms();
    }
    m_has_incomplete = has_incomplete;
}

void ClientConnection::send(const cbus_header_t& header, std::span<const char> body) {
    if (!is_listening()) {
        return;
    }
    ++m_messages_out;
    const bool was_waiting = m_output.waiting_bytes() > 0;
    if (m_output.send(m_socket.get(), header, body) == OutputQueue::Result::kGone) {
        leave();
    } else if (!was_waiting && m_output.waiting_bytes() > 0) {
        event_add(m_write_event.get(), nullptr);
    }
}

void ClientConnection::write_waiting() {
    if (m_output.flush(m_socket.get()) == OutputQueue::Result::kGone) {
        leave();
        return;
    }
    if (m_output.waiting_bytes() == 0) {
        event_del(m_write_event.get());
    }
    m_owner.on_taken(*this);
}

void ClientConnection::hold() {
    m_is_held = true;
    m_is_paused = false;
    event_del(m_read_event.get());
    event_del(m_backlog_event.get());
}

void ClientConnection::resume() {
    if (!is_open() || !std::exchange(m_is_held, false)) {
        return;
    }
    // The time in which we did not read is not the client's.
    m_has_incomplete = false;
    m_resumed_ms = px_time_ms();
    event_add(m_read_event.get(), nullptr);
    if (m_reader.pending_bytes() > 0) {
        read_in_next_turn();
    }
}

void ClientConnection::pause() {
    if (!is_open() || m_is_held) {
        return;
    }
    m_is_paused = true;
    // What waits in the reader has not been looked at: nobody knows whether it is complete.
    m_has_incomplete = false;
    event_del(m_read_event.get());
    read_in_next_turn();
}

void ClientConnection::read_in_next_turn() {
    const timeval next_turn{0, 0};
    event_add(m_backlog_event.get(), &next_turn);
}

bool ClientConnection::was_held_since(uint32_t since_ms) const {
    const uint32_t now_ms = px_time_ms();
    return m_is_held || (m_resumed_ms && now_ms - *m_resumed_ms <= now_ms - since_ms);
}

void ClientConnection::check(uint32_t now_ms, uint32_t message_time_ms) {
    if (!is_open()) {
        return;
    }
    if (m_is_held) {
        if (is_listening() && has_hung_up(m_socket.get())) {
            leave();
        }
    } else if (m_has_incomplete && now_ms - m_incomplete_since_ms >= message_time_ms) {
        refuse("a message was not complete in time");
    }
}

void ClientConnection::refuse(const std::string& reason) {
    if (is_open()) {
        logger_function(4, kModule, "client %u (%s) disconnected: %s", m_id, peer_description(m_peer).c_str(),
                        reason.c_str());
        m_was_refused = true;
        close();
    }
}

// Its last words may still be in the socket: only their end closes the connection.
void ClientConnection::leave() {
    m_has_left = true;
    m_output.clear();
    event_del(m_write_event.get());
    m_owner.on_left(*this);
}

void ClientConnection::close() {
    // The events go before the descriptor that they watch.
    event_del(m_read_event.get());
    event_del(m_backlog_event.get());
    event_del(m_write_event.get());
    m_socket.reset();
    m_output.clear();
    m_owner.on_closed(*this);
}
