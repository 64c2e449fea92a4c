#include "device/cbusd/Broker.h"

#include <string>
#include <utility>

#include "runtime/logging.h"
#include "runtime/px_time.h"

namespace {

constexpr const char* kModule = "cbusd";

// Control signals carry a text with its NUL; one without it ends with the data.
std::string_view text_of(const BusMessage& message) {
    const std::string_view data(message.data.data(), message.data.size());
    return data.substr(0, data.find('\0'));
}

}  // namespace

Broker::Broker(event_base* base, UniqueFd listener, const BrokerOptions& options)
    : m_base(base),
      m_options(options),
      m_acceptor(base, std::move(listener), options.accept_retry_ms,
                 [this](UniqueFd socket) { add_client(std::move(socket)); }),
      m_reap_event(event_new(base, -1, 0, on_reap, this)),
      m_deadline_event(event_new(base, -1, 0, on_deadline, this)) {}

void Broker::on_reap(evutil_socket_t, short, void* self) noexcept {
    static_cast<Broker*>(self)->remove_closed_clients();
}

void Broker::on_deadline(evutil_socket_t, short, void* self) noexcept {
    static_cast<Broker*>(self)->answer_expired();
}

void Broker::add_client(UniqueFd socket) {
    const ClientId id = ++m_last_id;
    Owner& owner = *this;
    m_clients.emplace(id, std::make_unique<ClientConnection>(m_base, std::move(socket), id,
                                                             m_options.max_waiting_bytes, owner));
}

// A client may be closed while its own messages or those of another are being handled, so it only goes in a
// later turn.
void Broker::on_closed(ClientConnection& client) {
    m_closed.push_back(client.id());
    event_active(m_reap_event.get(), EV_TIMEOUT, 0);
}

void Broker::remove_closed_clients() {
    // Answering its origins may close further clients, which append to m_closed.
    while (!m_closed.empty()) {
        const ClientId id = m_closed.back();
        m_closed.pop_back();
        m_filters.remove_client(id);
        m_providers.remove_client(id);
        m_pending.drop_origin(id);
        for (const PendingRequest& request : m_pending.take_of_provider(id)) {
            reply_empty(request);
        }
        m_clients.erase(id);
    }
}

void Broker::on_message(ClientConnection& client, const BusMessage& message) {
    switch (message.header.type) {
        case CBUS_SIGNAL:
            handle_signal(client, message);
            break;
        case CBUS_REQUEST:
            handle_request(client, message);
            break;
        default:
            handle_reply(client, message);
    }
}

void Broker::handle_signal(ClientConnection& client, const BusMessage& message) {
    if (message.name == "cbus.filter") {
        handle_filter(client, text_of(message));
    } else if (message.name == "cbus.provide") {
        handle_provide(client, text_of(message));
    } else {
        forward_signal(client, message);
    }
}

void Broker::handle_filter(ClientConnection& client, std::string_view text) {
    if (text.starts_with('-')) {
        m_filters.remove(text.substr(1), client.id());
    } else if (!m_filters.add(text, client.id())) {
        client.refuse("too many filters, or too long a one");
    }
}

void Broker::handle_provide(ClientConnection& client, std::string_view text) {
    if (!m_providers.add(text, client.id())) {
        client.refuse("too many provided names, or too long a one");
    }
}

void Broker::forward_signal(const ClientConnection& client, const BusMessage& message) {
    for (const ClientId receiver : m_filters.holders_of_beginning(message.name)) {
        if (receiver != client.id()) {
            send_to(receiver, message.header, message.body);
        }
    }
}

void Broker::handle_request(ClientConnection& client, const BusMessage& message) {
    PendingRequest request{client.id(), 0, message.header, {}, px_time_ms()};
    request.name.assign(message.body.data(), message.header.nlen);
    const auto provider = m_providers.first_holder_of_path(message.name);
    if (!provider) {
        reply_empty(request);
        return;
    }
    request.provider = *provider;
    const auto tag = m_pending.add(request);
    if (!tag) {
        reply_empty(request);
        return;
    }
    cbus_header_t header = message.header;
    header.reserved = *tag;
    send_to(*provider, header, message.body);
    if (event_pending(m_deadline_event.get(), EV_TIMEOUT, nullptr) == 0) {
        arm_deadline(m_options.reply_timeout_ms);
    }
}

// A reply that nobody waits for any more came too late, or is an invention; either way it is dropped.
void Broker::handle_reply(const ClientConnection& client, const BusMessage& message) {
    const auto request = m_pending.take(client.id(), message.header);
    if (request) {
        cbus_header_t header = message.header;
        header.reserved = request->header.reserved;
        send_to(request->origin, header, message.body);
    }
}

void Broker::reply_empty(const PendingRequest& request) {
    cbus_header_t header = request.header;
    header.type = CBUS_REPLY;
    header.dlen = 0;
    std::string body = request.name;
    body.resize(cbus_pad4(body.size()), '\0');
    send_to(request.origin, header, body);
}

void Broker::answer_expired() {
    const uint32_t now_ms = px_time_ms();
    for (const PendingRequest& request : m_pending.take_expired(now_ms, m_options.reply_timeout_ms)) {
        logger_function(5, kModule, "client %u has not answered '%s' of client %u in time", request.provider,
                        request.name.c_str(), request.origin);
        reply_empty(request);
    }
    if (const PendingRequest* oldest = m_pending.oldest()) {
        arm_deadline(m_options.reply_timeout_ms - (now_ms - oldest->sent_ms));
    }
}

// One timer for all, set for the oldest request and left alone when that is answered: a round trip costs no timer.
void Broker::arm_deadline(uint32_t delay_ms) {
    const timeval delay{delay_ms / 1000, static_cast<suseconds_t>(delay_ms % 1000) * 1000};
    event_add(m_deadline_event.get(), &delay);
}

void Broker::send_to(ClientId id, const cbus_header_t& header, std::span<const char> body) {
    if (const auto found = m_clients.find(id); found != m_clients.end()) {
        found->second->send(header, body);
    }
}
