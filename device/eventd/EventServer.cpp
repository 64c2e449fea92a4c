// SPDX-License-Identifier: MIT

#include "device/eventd/EventServer.h"

#include <string_view>

#include "cbus/cbus_client.h"
#include "config_client/config_client_api.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "runtime/px_time.h"

namespace {

constexpr const char* kModule = "eventd";
constexpr const char* kPrefix = "event_handler.";
constexpr const char* kDatabaseStart = "config.start";
// While the database has not been there yet, and afterwards.
constexpr uint32_t kRestoreMs = 100;
constexpr uint32_t kCheckMs = 1000;
constexpr unsigned kTurnsBetweenChecks = 29;  // so that each 30th turn checks

}  // namespace

// The filter goes first: what the bus takes after it is not missed, however long the list takes.
EventServer::EventServer(_fdloop_t* loop, _cbus_conn_t* connection, EventHandler& handler)
    : m_loop(loop),
      m_connection(connection),
      m_handler(handler),
      m_timer(fdloop_timer_add(loop, handler.is_restored() ? kCheckMs : kRestoreMs, on_timer, this)) {
    config_init_cbus(connection, nullptr);
    cbus_client_signal_cb_add(connection, kPrefix, on_signal, this);
    cbus_filter(connection, kPrefix);
    cbus_client_signal_cb_add(connection, kDatabaseStart, on_database_start, this);
    cbus_filter(connection, kDatabaseStart);
    config_change_register(kEventStorePrefix, on_change, this);
    if (m_handler.is_restored()) {
        log_serving();
    }
    check_database();
    if (!m_handler.is_restored()) {
        logger_function(5, kModule, "waiting for the database");
    }
}

EventServer::~EventServer() {
    config_change_deregister(kEventStorePrefix, on_change, this);
    cbus_client_signal_cb_del(m_connection, kDatabaseStart, on_database_start, this);
    cbus_client_signal_cb_del(m_connection, kPrefix, on_signal, this);
    fdloop_timer_del(m_loop, m_timer);
}

int EventServer::on_signal(_cbus_conn_t*, void* self, const char* name, const void* data,
                           uint32_t length) noexcept {
    static_cast<EventServer*>(self)->m_handler.handle_signal(
        name, std::string_view(static_cast<const char*>(data), length), static_cast<uint32_t>(px_time()));
    return 0;
}

int EventServer::on_database_start(_cbus_conn_t*, void* self, const char*, const void*, uint32_t) noexcept {
    static_cast<EventServer*>(self)->check_database();
    return 0;
}

// Our own writes come back here as well: one look for all that a second brings.
void EventServer::on_change(unsigned int, const config_data_t*, void* self) noexcept {
    static_cast<EventServer*>(self)->m_turns_until_check = 0;
}

void EventServer::on_timer(void* self, int, _fdloop_timer_t*) noexcept {
    auto* const server = static_cast<EventServer*>(self);
    if (server->m_turns_until_check == 0) {
        server->check_database();
    } else {
        --server->m_turns_until_check;
    }
}

void EventServer::check_database() {
    if (m_handler.is_restored()) {
        m_turns_until_check = kTurnsBetweenChecks;
        m_handler.check_database();
    } else if (m_handler.restore()) {
        fdloop_timer_set_interval(m_timer, kCheckMs);
        log_serving();
    }
}

void EventServer::log_serving() const {
    logger_function(6, kModule, "serving %zu events", m_handler.list().events().size());
}
