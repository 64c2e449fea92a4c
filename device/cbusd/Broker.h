#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "device/cbusd/Acceptor.h"
#include "device/cbusd/ClientConnection.h"
#include "device/cbusd/NameTable.h"
#include "device/cbusd/PendingRequests.h"
#include "src/base/owners.h"

struct BrokerOptions {
    uint32_t reply_timeout_ms = 30'000;
    size_t max_waiting_bytes = size_t{64} << 20;  // of one client; more costs it the connection
    uint32_t accept_retry_ms = 200;
};

// Broker: routes the messages of all clients.
//   Signals go to every other client with a filter that begins their name; "cbus.filter" and "cbus.provide" are for
//   the broker itself. A request goes to the provider of the longest name that it lies under, with a tag in the
//   reserved field, by which the reply finds back to its origin. Every request gets a reply: an empty one when nobody
//   serves it, its provider goes or is silent for too long.
// Owns:    the clients and the listening socket.
// Borrows: the loop; it outlives this object.
// Threads: loop thread only.
class Broker final : private ClientConnection::Owner {
  public:
    Broker(event_base* base, UniqueFd listener, const BrokerOptions& options);
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    ~Broker() = default;

    [[nodiscard]] size_t client_count() const { return m_clients.size(); }

  private:
    static void on_reap(evutil_socket_t, short, void* self) noexcept;
    static void on_deadline(evutil_socket_t, short, void* self) noexcept;
    void on_message(ClientConnection& client, const BusMessage& message) override;
    void on_closed(ClientConnection& client) override;

    void add_client(UniqueFd socket);
    void remove_closed_clients();
    void handle_signal(ClientConnection& client, const BusMessage& message);
    void handle_filter(ClientConnection& client, std::string_view text);
    void handle_provide(ClientConnection& client, std::string_view text);
    void forward_signal(const ClientConnection& client, const BusMessage& message);
    void handle_request(ClientConnection& client, const BusMessage& message);
    void handle_reply(const ClientConnection& client, const BusMessage& message);
    void reply_empty(const PendingRequest& request);
    void answer_expired();
    void arm_deadline(uint32_t delay_ms);
    void send_to(ClientId id, const cbus_header_t& header, std::span<const char> body);

    event_base* m_base;
    BrokerOptions m_options;
    ClientId m_last_id = 0;
    std::unordered_map<ClientId, std::unique_ptr<ClientConnection>> m_clients;
    std::vector<ClientId> m_closed;  // still in m_clients, for whom a turn of theirs may still run
    NameTable m_filters;
    NameTable m_providers;
    PendingRequests m_pending;
    Acceptor m_acceptor;
    EventPtr m_reap_event;
    EventPtr m_deadline_event;
};
