#include "device/cbusd/ClientConnection.h"

#include <sys/socket.h>

#include <cerrno>
#include <utility>

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "cbusd";

}  // namespace

ClientConnection::ClientConnection(event_base* base, UniqueFd socket, ClientId id, size_t max_waiting_bytes,
                                   Owner& owner)
    : m_id(id),
      m_owner(owner),
      m_socket(std::move(socket)),
      m_output(max_waiting_bytes),
      m_read_event(event_new(base, m_socket.get(), EV_READ | EV_PERSIST, on_readable, this)),
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
    while (is_open()) {
        switch (m_reader.next(message)) {
            case MessageReader::Result::kMessage:
                m_owner.on_message(*this, message);
                break;
            case MessageReader::Result::kIncomplete:
                return;
            case MessageReader::Result::kMalformed:
                refuse("malformed message");
                return;
        }
    }
}

void ClientConnection::send(const cbus_header_t& header, std::span<const char> body) {
    if (!is_open()) {
        return;
    }
    const bool was_waiting = m_output.waiting_bytes() > 0;
    check_output(m_output.send(m_socket.get(), header, body));
    if (is_open() && !was_waiting && m_output.waiting_bytes() > 0) {
        event_add(m_write_event.get(), nullptr);
    }
}

void ClientConnection::write_waiting() {
    check_output(m_output.flush(m_socket.get()));
    if (is_open() && m_output.waiting_bytes() == 0) {
        event_del(m_write_event.get());
    }
}

void ClientConnection::check_output(OutputQueue::Result result) {
    if (result == OutputQueue::Result::kFull) {
        refuse("does not read what it is sent");
    } else if (result == OutputQueue::Result::kGone) {
        close();
    }
}

void ClientConnection::refuse(const char* reason) {
    if (is_open()) {
        logger_function(4, kModule, "client %u disconnected: %s", m_id, reason);
        close();
    }
}

void ClientConnection::close() {
    // The events go before the descriptor that they watch.
    event_del(m_read_event.get());
    event_del(m_write_event.get());
    m_socket.reset();
    m_owner.on_closed(*this);
}
