// SPDX-License-Identifier: MIT

#include "device/configd/ConfigServer.h"

#include <poll.h>

#include <memory>
#include <optional>
#include <string_view>

#include "cbus/cbus_client.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/px_time.h"

namespace {

// All that the bus sends here is answered, the bare name as well: who does not answer is taken for silent.
constexpr const char* kProvided = "config";
constexpr const char* kSignalPrefix = "config.";
// "config.write" also begins "config.writev".
constexpr const char* kFilters[] = {"config.write", "config.delm", "config.sync", "config.validate"};

using SenderContext = COwned<cbus_sender_ctx_t, cbus_free_sender_ctx>;

std::string_view bytes(const void* data, uint32_t length) {
    return {static_cast<const char*>(data), length};
}

}  // namespace

ConfigServer::ConfigServer(_fdloop_t* loop, _cbus_conn_t* connection, ConfigDatabase& database)
    : m_loop(loop), m_connection(connection), m_service(database, *this) {
    cbus_client_init_cb(connection);
    cbus_client_request_cb_add(connection, kProvided, on_request, this);
    cbus_client_signal_cb_add(connection, kSignalPrefix, on_signal, this);
    m_idler = fdloop_idler_add(loop, on_turn, this);
    announce_names();
    cbus_send_signal(connection, "config.start", nullptr, 0);
}

ConfigServer::~ConfigServer() {
    m_service.commit();
    fdloop_idler_del(m_loop, m_idler);
    cbus_client_request_cb_del(m_connection, kProvided, on_request, this);
    cbus_client_signal_cb_del(m_connection, kSignalPrefix, on_signal, this);
    if (m_timer != nullptr) {
        fdloop_timer_del(m_loop, m_timer);
    }
}

// The bus handles the messages of one client in their order: its answer to a request, whatever it says, tells that the
// names before it are known.
void ConfigServer::announce_names() {
    for (const char* filter : kFilters) {
        cbus_filter(m_connection, filter);
    }
    cbus_provide(m_connection, kProvided);
    void* data = nullptr;
    cbus_get_reply(m_connection, cbus_send_request(m_connection, "cbus.status", nullptr, 0), &data);
    const Malloced<void> reply(data);
}

int ConfigServer::on_request(_cbus_conn_t* connection, void* self, const char* name, const void* data,
                             uint32_t length) noexcept {
    auto* server = static_cast<ConfigServer*>(self);
    const auto reply = server->m_service.handle_request(name, bytes(data, length), px_time_ms());
    if (reply) {
        cbus_send_reply(connection, reply->data(), static_cast<uint32_t>(reply->size()));
    }
    server->update_timer();
    return 0;
}

int ConfigServer::on_signal(_cbus_conn_t*, void* self, const char* name, const void* data,
                            uint32_t length) noexcept {
    auto* server = static_cast<ConfigServer*>(self);
    server->m_service.handle_signal(name, bytes(data, length), px_time_ms());
    server->update_timer();
    return 0;
}

void ConfigServer::on_turn(void* self) noexcept {
    static_cast<ConfigServer*>(self)->commit_unless_more_comes();
}

void ConfigServer::on_timer(void* self, int, _fdloop_timer_t*) noexcept {
    auto* server = static_cast<ConfigServer*>(self);
    server->m_service.expire(px_time_ms());
    server->update_timer();
}

// Called before the loop waits. A turn of the loop reads one message: what stands behind it in the socket belongs to
// the same transaction.
void ConfigServer::commit_unless_more_comes() {
    if (!m_service.has_uncommitted()) {
        return;
    }
    pollfd bus{m_connection->socket, POLLIN, 0};
    const bool more_comes = poll(&bus, 1, 0) > 0 && (bus.revents & POLLIN) != 0;
    if (!more_comes || m_service.commit_is_due(px_time_ms())) {
        m_service.commit();
    }
}

void ConfigServer::send_signal(const std::string& name, const std::string& data) {
    cbus_send_signal(m_connection, name.c_str(), data.data(), static_cast<uint32_t>(data.size()));
}

// A function object is copyable, a sender context is not: the shared pointer stands between them.
ConfigOutlet::Answer ConfigServer::keep_request() {
    const auto context = std::make_shared<SenderContext>(cbus_store_sender_ctx(m_connection));
    return [connection = m_connection, context](const std::string& data) {
        cbus_send_reply_to(connection, data.data(), static_cast<uint32_t>(data.size()), context->release());
    };
}

void ConfigServer::update_timer() {
    const std::optional<uint32_t> left_ms = m_service.time_left_ms(px_time_ms());
    if (!left_ms) {
        if (m_timer != nullptr) {
            fdloop_timer_del(m_loop, m_timer);
            m_timer = nullptr;
        }
        return;
    }
    // At least one millisecond: an interval of 0 fires only once.
    const uint32_t interval_ms = *left_ms > 0 ? *left_ms : 1;
    if (m_timer == nullptr) {
        m_timer = fdloop_timer_add(m_loop, interval_ms, on_timer, this);
    } else {
        fdloop_timer_set_interval(m_timer, interval_ms);
    }
}
