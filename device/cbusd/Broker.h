// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "device/cbusd/Acceptor.h"
#include "device/cbusd/Admission.h"
#include "device/cbusd/ClientConnection.h"
#include "device/cbusd/FlowControl.h"
#include "device/cbusd/Monitors.h"
#include "device/cbusd/PendingRequests.h"
#include "device/cbusd/Routes.h"
#include "device/cbusd/SlowReceivers.h"
#include "device/cbusd/bus_status.h"
#include "src/base/owners.h"

struct BrokerOptions {
    uint32_t reply_timeout_ms = 30'000;
    uint32_t message_timeout_ms = 30'000;  // from its first byte to its last
    uint32_t check_interval_ms = 1000;
    uint32_t accept_retry_ms = 200;
    FlowControl::Limits flow;
    SlowReceivers::Limits slow;
    Monitors::Limits monitors;
    Admission::Limits admission;
};

// Broker: routes the messages of all clients.
//   Signals go to every other client with a filter that begins their name; "cbus.filter", "cbus.provide" and
//   "cbus.monitor" are for the broker itself. A request goes to the provider of the longest name that it lies under,
//   with a tag in the reserved field, by which the reply finds back to its origin. Every request gets a reply: an
//   empty one when nobody serves it, its provider goes or is silent for too long.
// Owns:    the clients and the listening socket.
// Borrows: the loop; it outlives this object.
// Threads: loop thread only.
class Broker final : private ClientConnection::Owner {
  public:
    Broker(event_base* base, UniqueFd listener, AccessList access, const BrokerOptions& options);
    Broker(const Broker&) = delete;
    Broker& operator=(const Broker&) = delete;
    ~Broker() = default;

    [[nodiscard]] size_t client_count() const { return m_clients.size(); }

  private:
    // How one message goes; kBrokerId is the broker.
    struct Route {
        ClientId from;
        ClientId to;
        FlowControl::Kind kind;
    };
    using Clients = std::unordered_map<ClientId, std::unique_ptr<ClientConnection>>;

    static void on_reap(evutil_socket_t, short, void* self) noexcept;
    static void on_deadline(evutil_socket_t, short, void* self) noexcept;
    static void on_check(evutil_socket_t, short, void* self) noexcept;
    bool on_message(ClientConnection& client, const BusMessage& message) override;
    void on_taken(ClientConnection& client) override;
    void on_left(ClientConnection& client) override;
    void on_closed(ClientConnection& client) override;

    void add_client(UniqueFd socket);
    void remove_gone_clients();
    void forget(ClientId id);
    void remove_client(ClientId id);
    bool block_without_room(ClientId client, const BusMessage& message);
    void handle_signal(ClientConnection& client, const BusMessage& message);
    void handle_filter(ClientConnection& client, std::string_view text);
    void handle_provide(ClientConnection& client, std::string_view text);
    void handle_monitor(ClientConnection& client);
    void forward_signal(const ClientConnection& client, const BusMessage& message);
    void handle_request(ClientConnection& client, const BusMessage& message);
    void forward_request(PendingRequest request, const BusMessage& message);
    void handle_reply(const ClientConnection& client, const BusMessage& message);
    void reply(const PendingRequest& request, std::string_view data);
    void reply_empty(const PendingRequest& request);
    void reply_status(const PendingRequest& request);
    void answer_expired();
    void arm_deadline(uint32_t delay_ms);
    void deliver(const Route& route, const cbus_header_t& header, std::span<const char> body);
    void note_backlog(const Route& route, ClientConnection& receiver);
    void settle_holds();
    void check_clients();
    void disconnect_slow(uint32_t now_ms);
    [[nodiscard]] ClientConnection* find(ClientId id) const;
    [[nodiscard]] BusStatus status() const;

    event_base* m_base;
    BrokerOptions m_options;
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    ClientId m_last_id = kBrokerId;
    Clients m_clients;
    // Still in m_clients, for a turn of theirs may still run.
    std::vector<ClientId> m_left;
    std::vector<ClientId> m_closed;
    PendingRequests m_pending;
    Routes m_routes{m_pending};
    std::unordered_set<ClientId> m_told_not_to_monitor;  // one log line each
    FlowControl m_flow;
    SlowReceivers m_slow;
    Monitors m_monitors;
    BusCounters m_counters;
    Admission m_admission;
    Acceptor m_acceptor;
    EventPtr m_reap_event;
    EventPtr m_deadline_event;
    EventPtr m_check_event;
};
