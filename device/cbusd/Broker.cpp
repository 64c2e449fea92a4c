// SPDX-License-Identifier: MIT

#include "device/cbusd/Broker.h"

#include <algorithm>
#include <string>
#include <utility>

#include "runtime/logging.h"
#include "runtime/px_time.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "cbusd";
using Kind = FlowControl::Kind;

timeval to_timeval(uint32_t time_ms) {
    return {time_ms / 1000, static_cast<suseconds_t>(time_ms % 1000) * 1000};
}

// Control signals carry a text with its NUL; one without it ends with the data.
std::string_view text_of(const BusMessage& message) {
    const std::string_view data(message.data.data(), message.data.size());
    return data.substr(0, data.find('\0'));
}

}  // namespace

Broker::Broker(event_base* base, UniqueFd listener, AccessList access, const BrokerOptions& options)
    : m_base(base),
      m_options(options),
      m_flow(options.flow, m_pending),
      m_slow(options.slow, m_flow),
      m_monitors(options.monitors),
      m_admission(std::move(access), options.admission),
      m_acceptor(base, std::move(listener), options.accept_retry_ms,
                 [this](UniqueFd socket) { add_client(std::move(socket)); }),
      m_reap_event(event_new(base, -1, 0, on_reap, this)),
      m_deadline_event(event_new(base, -1, 0, on_deadline, this)),
      m_check_event(event_new(base, -1, EV_PERSIST, on_check, this)) {
    const timeval interval = to_timeval(options.check_interval_ms);
    event_add(m_check_event.get(), &interval);
}

void Broker::on_reap(evutil_socket_t, short, void* self) noexcept {
    static_cast<Broker*>(self)->remove_gone_clients();
}

void Broker::on_deadline(evutil_socket_t, short, void* self) noexcept {
    static_cast<Broker*>(self)->answer_expired();
}

void Broker::on_check(evutil_socket_t, short, void* self) noexcept {
    static_cast<Broker*>(self)->check_clients();
}

void Broker::add_client(UniqueFd socket) {
    PeerIdentity peer = peer_identity(socket.get());
    if (!m_admission.enter(peer)) {
        return;
    }
    const ClientId id = ++m_last_id;
    Owner& owner = *this;
    m_clients.emplace(
        id, std::make_unique<ClientConnection>(m_base, std::move(socket), id, std::move(peer), owner));
}

// A client may go while its own messages or those of another are being handled, so it only goes in a later turn.
void Broker::on_left(ClientConnection& client) {
    m_left.push_back(client.id());
    event_active(m_reap_event.get(), EV_TIMEOUT, 0);
}

void Broker::on_closed(ClientConnection& client) {
    m_closed.push_back(client.id());
    event_active(m_reap_event.get(), EV_TIMEOUT, 0);
}

void Broker::remove_gone_clients() {
    // Answering origins may find that further clients have gone, which appends to both lists.
    while (!m_left.empty() || !m_closed.empty()) {
        std::vector<ClientId>& gone = m_left.empty() ? m_closed : m_left;
        const ClientId id = gone.back();
        gone.pop_back();
        forget(id);
        if (&gone == &m_closed) {
            remove_client(id);
        }
    }
    settle_holds();
}

// What a client is for others ends when it takes nothing more; what it has sent may still be on its way.
void Broker::forget(ClientId id) {
    m_routes.remove_client(id);
    m_monitors.remove(id);
    m_flow.remove_receiver(id);
    m_slow.remove(id);
    m_pending.drop_origin(id);
    for (const PendingRequest& request : m_pending.take_of_provider(id)) {
        reply_empty(request);
    }
}

void Broker::remove_client(ClientId id) {
    m_flow.remove_client(id);
    m_told_not_to_monitor.erase(id);
    const auto client = m_clients.find(id);
    if (client->second->was_refused()) {
        ++m_counters.lost_clients;
    }
    m_admission.leave(client->second->peer());
    m_clients.erase(client);
}

bool Broker::on_message(ClientConnection& client, const BusMessage& message) {
    m_routes.note_heard(client.id());
    if (m_flow.is_any_over() && block_without_room(client.id(), message)) {
        settle_holds();
        return false;
    }
    ++m_counters.messages;
    switch (message.header.type) {
        case CBUS_SIGNAL:
            ++m_counters.signals;
            handle_signal(client, message);
            break;
        case CBUS_REQUEST:
            ++m_counters.requests;
            handle_request(client, message);
            break;
        default:
            ++m_counters.replies;
            handle_reply(client, message);
    }
    settle_holds();
    return true;
}

// Without this each of many writers would have one message of its own beyond the upper limit.
bool Broker::block_without_room(ClientId client, const BusMessage& message) {
    bool is_blocked = false;
    for (const ClientId id : m_routes.receivers_of(client, message)) {
        const ClientConnection* receiver = find(id);
        if (m_flow.is_over(id) && receiver != nullptr && receiver->is_listening()) {
            const Kind kind = message.header.type == CBUS_REPLY ? Kind::kReply : Kind::kOther;
            m_flow.note_written(client, id, kind, receiver->waiting_bytes(), px_time_ms());
            is_blocked = true;
        }
    }
    return is_blocked;
}

void Broker::handle_signal(ClientConnection& client, const BusMessage& message) {
    if (!is_control_signal(message.name)) {
        forward_signal(client, message);
        return;
    }
    m_monitors.copy(client.id(), kBrokerId, message.header, message.body);
    if (message.name == "cbus.filter") {
        handle_filter(client, text_of(message));
    } else if (message.name == "cbus.provide") {
        handle_provide(client, text_of(message));
    } else {
        handle_monitor(client);
    }
}

void Broker::handle_filter(ClientConnection& client, std::string_view text) {
    if (text.starts_with('-')) {
        m_routes.filters().remove(text.substr(1), client.id());
    } else if (client.is_listening() && !m_routes.filters().add(text, client.id())) {
        client.refuse("too many filters, or too long a one");
    }
}

void Broker::handle_provide(ClientConnection& client, std::string_view text) {
    if (client.is_listening() && !m_routes.providers().add(text, client.id())) {
        client.refuse("too many provided names, or too long a one");
    }
}

void Broker::handle_monitor(ClientConnection& client) {
    if (!m_admission.access().is_own(client.peer().uid)) {
        if (m_told_not_to_monitor.insert(client.id()).second) {
            logger_function(4, kModule, "client %u (%s) may not monitor the bus", client.id(),
                            peer_description(client.peer()).c_str());
        }
    } else if (client.is_listening()) {
        m_monitors.add(client);
        // Nobody waits for a monitor.
        m_flow.remove_receiver(client.id());
    }
}

void Broker::forward_signal(const ClientConnection& client, const BusMessage& message) {
    const std::vector<ClientId> receivers = m_routes.receivers_of(client.id(), message);
    for (const ClientId receiver : receivers) {
        deliver({client.id(), receiver, Kind::kOther}, message.header, message.body);
    }
    if (receivers.empty()) {
        m_monitors.copy(client.id(), kBrokerId, message.header, message.body);
    }
}

void Broker::handle_request(ClientConnection& client, const BusMessage& message) {
    PendingRequest request{client.id(), kBrokerId, message.header, {}, px_time_ms()};
    request.name.assign(message.body.data(), message.header.nlen);
    if (const auto provider = m_routes.provider_of(message.name)) {
        request.provider = *provider;
        forward_request(std::move(request), message);
        return;
    }
    m_monitors.copy(client.id(), kBrokerId, message.header, message.body);
    if (is_broker_request(message.name)) {
        reply_status(request);
        // It costs as much as there are clients: others have their turn first.
        client.pause();
    } else {
        reply_empty(request);
    }
}

void Broker::forward_request(PendingRequest request, const BusMessage& message) {
    const Route route{request.origin, request.provider, Kind::kOther};
    const auto tag = m_pending.add(request);
    if (!tag) {
        m_monitors.copy(request.origin, kBrokerId, message.header, message.body);
        reply_empty(request);
        return;
    }
    m_flow.note_asked(request.provider);
    cbus_header_t header = message.header;
    header.reserved = *tag;
    deliver(route, header, message.body);
    if (event_pending(m_deadline_event.get(), EV_TIMEOUT, nullptr) == 0) {
        arm_deadline(m_options.reply_timeout_ms);
    }
}

// A reply that nobody waits for any more came too late, or is an invention; either way it is dropped.
void Broker::handle_reply(const ClientConnection& client, const BusMessage& message) {
    const auto request = m_pending.take(client.id(), message.header);
    if (!request) {
        m_monitors.copy(client.id(), kBrokerId, message.header, message.body);
        return;
    }
    cbus_header_t header = message.header;
    header.reserved = request->header.reserved;
    deliver({client.id(), request->origin, Kind::kReply}, header, message.body);
}

void Broker::reply(const PendingRequest& request, std::string_view data) {
    cbus_header_t header = request.header;
    header.type = CBUS_REPLY;
    header.dlen = static_cast<uint32_t>(data.size());
    std::string body = request.name;
    body.resize(cbus_pad4(body.size()), '\0');
    body.append(data);
    body.resize(cbus_pad4(body.size()), '\0');
    deliver({kBrokerId, request.origin, Kind::kReply}, header, body);
}

void Broker::reply_empty(const PendingRequest& request) {
    ++m_counters.empty_replies;
    reply(request, {});
}

void Broker::reply_status(const PendingRequest& request) {
    const std::string text = bus_status_text(status());
    reply(request, {text.c_str(), text.size() + 1});
}

// A provider that has let a request run out gets no more of others' time, unless it was we who did not listen to it.
void Broker::answer_expired() {
    const uint32_t now_ms = px_time_ms();
    for (const PendingRequest& request : m_pending.take_expired(now_ms, m_options.reply_timeout_ms)) {
        const ClientConnection* provider = find(request.provider);
        if (provider != nullptr && !provider->was_held_since(request.sent_ms) &&
            m_routes.note_silent(request.provider)) {
            logger_function(5, kModule, "client %u has not answered '%s' of client %u in time",
                            request.provider, text_for_log(request.name.c_str()).c_str(), request.origin);
        }
        reply_empty(request);
    }
    if (const PendingRequest* oldest = m_pending.oldest()) {
        arm_deadline(m_options.reply_timeout_ms - (now_ms - oldest->sent_ms));
    }
    settle_holds();
}

// One timer for all, set for the oldest request and left alone when that is answered: a round trip costs no timer.
void Broker::arm_deadline(uint32_t delay_ms) {
    const timeval delay = to_timeval(delay_ms);
    event_add(m_deadline_event.get(), &delay);
}

void Broker::deliver(const Route& route, const cbus_header_t& header, std::span<const char> body) {
    ClientConnection* receiver = find(route.to);
    if (receiver == nullptr || !receiver->is_listening()) {
        return;
    }
    receiver->send(header, body);
    m_monitors.copy(route.from, route.to, header, body);
    if (receiver->waiting_bytes() > m_options.flow.nearly_empty_bytes) {
        note_backlog(route, *receiver);
    }
}

void Broker::note_backlog(const Route& route, ClientConnection& receiver) {
    const size_t waiting = receiver.waiting_bytes();
    const uint32_t now_ms = px_time_ms();
    m_slow.note_written(route.to, waiting, now_ms);
    if (!m_monitors.has(route.to)) {
        // What the broker itself has to say, the client has asked for.
        const ClientId writer = route.from == kBrokerId ? route.to : route.from;
        m_flow.note_written(writer, route.to, route.kind, waiting, now_ms);
    } else if (waiting > m_options.flow.over_bytes) {
        receiver.refuse("is a monitor for which " + std::to_string(waiting) + " bytes wait");
    }
}

void Broker::on_taken(ClientConnection& client) {
    const uint32_t now_ms = px_time_ms();
    m_slow.note_taken(client.id(), client.waiting_bytes(), now_ms);
    m_flow.note_taken(client.id(), client.waiting_bytes());
    m_monitors.note_taken(client.id());
    settle_holds();
}

void Broker::settle_holds() {
    for (const ClientId id : m_flow.take_changed()) {
        ClientConnection* client = find(id);
        if (client == nullptr) {
            continue;
        }
        const auto in_the_way = m_flow.receiver_in_the_way_of(id);
        ClientConnection* receiver = in_the_way ? find(*in_the_way) : nullptr;
        if (receiver != nullptr) {
            receiver->refuse("does not take its replies while others wait for theirs; " +
                             std::to_string(receiver->waiting_bytes()) + " bytes wait");
        }
        if (m_flow.is_held(id)) {
            client->hold();
        } else {
            client->resume();
        }
    }
}

void Broker::check_clients() {
    const uint32_t now_ms = px_time_ms();
    for (const auto& [id, client] : m_clients) {
        client->check(now_ms, m_options.message_timeout_ms);
    }
    disconnect_slow(now_ms);
}

// One that was itself blocked on a client that has just been disconnected may take its messages now, once it gets its
// own out of its hands.
void Broker::disconnect_slow(uint32_t now_ms) {
    for (const auto& [id, how] : m_slow.at(now_ms)) {
        ClientConnection* client = find(id);
        if (client == nullptr || !client->is_open()) {
            continue;
        }
        const auto is_in_its_way = [this, slow = id](ClientId gone) {
            return m_flow.is_blocked_on(slow, gone);
        };
        if (std::any_of(m_closed.begin(), m_closed.end(), is_in_its_way)) {
            m_slow.restart(id, now_ms);
        } else {
            client->refuse(how + " while " + std::to_string(client->waiting_bytes()) + " bytes wait");
        }
    }
}

ClientConnection* Broker::find(ClientId id) const {
    const auto found = m_clients.find(id);
    return found != m_clients.end() ? found->second.get() : nullptr;
}

BusStatus Broker::status() const {
    const auto uptime = std::chrono::steady_clock::now() - m_start;
    BusStatus status{static_cast<uint64_t>(std::chrono::duration_cast<std::chrono::seconds>(uptime).count()),
                     {},
                     m_routes.providers().all(),
                     m_counters};
    status.counters.refused_clients = m_admission.refused_count();
    for (const auto& [id, client] : m_clients) {
        const PeerIdentity& peer = client->peer();
        status.clients.push_back({id, peer.pid, peer.uid == kUnknownUser ? -1 : int64_t{peer.uid},
                                  peer.program, m_routes.filters().texts_of(id),
                                  m_routes.providers().texts_of(id), client->waiting_bytes(),
                                  client->messages_in(), client->messages_out()});
    }
    std::sort(status.clients.begin(), status.clients.end(),
              [](const ClientStatus& a, const ClientStatus& b) { return a.id < b.id; });
    return status;
}
