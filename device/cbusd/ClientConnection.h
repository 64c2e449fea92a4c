// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "device/cbusd/MessageReader.h"
#include "device/cbusd/OutputQueue.h"
#include "device/cbusd/PeerIdentity.h"
#include "device/cbusd/client_id.h"
#include "runtime/c_owner.h"
#include "src/base/owners.h"

// ClientConnection: one client's socket: messages in, messages out.
// Owns:      the socket and its events.
// Borrows:   the loop and the owner; both outlive this object.
// Callbacks: on_message for each message in order of arrival; one that it answers false for was not handled, and comes
//            again when the client, which is held now, is resumed; on_taken when some of what waited went
//            out; on_left at most once, when the client takes nothing more: what it has sent is still read to
//            its end; on_closed once, when that has been read or the connection was ended. None may destroy
//            the connection: the owner does that later, from the loop.
// Errors:    what ends a connection by the client's fault is logged here, one line.
class ClientConnection {
  public:
    class Owner {
      public:
        [[nodiscard]] virtual bool on_message(ClientConnection& client, const BusMessage& message) = 0;
        virtual void on_taken(ClientConnection& client) = 0;
        virtual void on_left(ClientConnection& client) = 0;
        virtual void on_closed(ClientConnection& client) = 0;

      protected:
        ~Owner() = default;
    };

    // `socket` is non-blocking.
    ClientConnection(event_base* base, UniqueFd socket, ClientId id, PeerIdentity peer, Owner& owner);
    ClientConnection(const ClientConnection&) = delete;
    ClientConnection& operator=(const ClientConnection&) = delete;

    [[nodiscard]] ClientId id() const { return m_id; }
    [[nodiscard]] const PeerIdentity& peer() const { return m_peer; }
    [[nodiscard]] bool is_open() const { return m_socket.valid(); }
    // Open, and what is sent to it has a chance to arrive.
    [[nodiscard]] bool is_listening() const { return is_open() && !m_has_left; }
    [[nodiscard]] bool was_refused() const { return m_was_refused; }
    [[nodiscard]] size_t waiting_bytes() const { return m_output.waiting_bytes(); }
    [[nodiscard]] uint64_t messages_in() const { return m_messages_in; }
    [[nodiscard]] uint64_t messages_out() const { return m_messages_out; }

    // Sends now or as soon as the client takes it; nothing once it no longer listens.
    void send(const cbus_header_t& header, std::span<const char> body);
    // Ends the connection for what the client did; `reason` goes into the log.
    void refuse(const std::string& reason);

    // While it is held nothing is read from the client and no message handled; either call may be repeated.
    void hold();
    void resume();
    // What it has sent besides the message that is being handled waits for the next turn of the loop.
    void pause();
    // At any time since then, in milliseconds of px_time_ms().
    [[nodiscard]] bool was_held_since(uint32_t since_ms) const;

    // To be called now and then: ends a connection whose message has not become complete in time, and notices that a
    // held client has gone. Milliseconds of px_time_ms().
    void check(uint32_t now_ms, uint32_t message_time_ms);

  private:
    static void on_readable(evutil_socket_t, short, void* self) noexcept;
    static void on_writable(evutil_socket_t, short, void* self) noexcept;
    void read_messages();
    void handle_messages();
    void note_incomplete(bool is_new);
    void read_in_next_turn();
    void write_waiting();
    void leave();
    void close();

    ClientId m_id;
    PeerIdentity m_peer;
    Owner& m_owner;
    UniqueFd m_socket;
    MessageReader m_reader;
    OutputQueue m_output;
    bool m_is_held = false;
    bool m_is_paused = false;
    std::optional<uint32_t> m_resumed_ms;
    bool m_has_left = false;
    bool m_was_refused = false;
    bool m_has_incomplete = false;
    uint32_t m_incomplete_since_ms = 0;
    uint64_t m_messages_in = 0;
    uint64_t m_messages_out = 0;
    EventPtr m_read_event;
    EventPtr m_backlog_event;  // for what was read before a hold or a pause
    EventPtr m_write_event;    // armed while something waits
};
