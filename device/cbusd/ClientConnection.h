#pragma once

#include <cstdint>
#include <span>

#include "device/cbusd/MessageReader.h"
#include "device/cbusd/OutputQueue.h"
#include "runtime/c_owner.h"
#include "src/base/owners.h"

using ClientId = uint32_t;

// ClientConnection: one client's socket: messages in, messages out.
// Owns:      the socket and its events.
// Borrows:   the loop and the owner; both outlive this object.
// Callbacks: on_message for each message in order of arrival; on_closed once, when the client has gone or was closed.
//            Neither may destroy the connection: the owner does that later, from the loop.
// Errors:    what ends a connection by the client's fault is logged here, one line.
class ClientConnection {
  public:
    class Owner {
      public:
        virtual void on_message(ClientConnection& client, const BusMessage& message) = 0;
        virtual void on_closed(ClientConnection& client) = 0;

      protected:
        ~Owner() = default;
    };

    // `socket` is non-blocking.
    ClientConnection(event_base* base, UniqueFd socket, ClientId id, size_t max_waiting_bytes, Owner& owner);
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    [[nodiscard]] ClientId id() const { return m_id; }
    [[nodiscard]] bool is_open() const { return m_socket.valid(); }

    // Sends now or as soon as the client takes it; nothing once the connection is closed.
    void send(const cbus_header_t& header, std::span<const char> body);
    // Ends the connection for what the client did; `reason` goes into the log.
    void refuse(const char* reason);

  private:
    static void on_readable(evutil_socket_t, short, void* self) noexcept;
    static void on_writable(evutil_socket_t, short, void* self) noexcept;
    void read_messages();
    void handle_messages();
    void write_waiting();
    void check_output(OutputQueue::Result result);
    void close();

    ClientId m_id;
    Owner& m_owner;
    UniqueFd m_socket;
    MessageReader m_reader;
    OutputQueue m_output;
    EventPtr m_read_event;
    EventPtr m_write_event;  // armed while something waits
};
