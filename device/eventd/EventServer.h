// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "device/eventd/EventHandler.h"

struct _cbus_conn_t;
struct _fdloop_t;
struct _fdloop_timer_t;
struct config_data_t;

// EventServer: the event handler on the bus, as the receiver of the signals "event_handler.".
//   The configuration client of this process runs on the same connection. The database is asked whether it still holds
//   the list when it has been started anew, within a second of a change there, and otherwise now and then.
// Borrows: loop, connection (made on that loop) and handler; they outlive it. The handler outlives the connection as
//          well: what it knows does not go with a bus.
// Threads: loop thread only.
// Blocks:  for the database, also in the constructor.
// Errors:  whether the bus is still there is for the owner of the connection to see.
class EventServer {
  public:
    EventServer(_fdloop_t* loop, _cbus_conn_t* connection, EventHandler& handler);
    EventServer(const EventServer&) = delete;
    EventServer& operator=(const EventServer&) = delete;
    ~EventServer();

  private:
    static int on_signal(_cbus_conn_t*, void* self, const char* name, const void* data,
                         uint32_t length) noexcept;
    static int on_database_start(_cbus_conn_t*, void* self, const char* name, const void* data,
                                 uint32_t length) noexcept;
    static void on_change(unsigned int count, const config_data_t* elements, void* self) noexcept;
    static void on_timer(void* self, int, _fdloop_timer_t*) noexcept;

    void check_database();
    void log_serving() const;

    _fdloop_t* m_loop;
    _cbus_conn_t* m_connection;
    EventHandler& m_handler;
    _fdloop_timer_t* m_timer;
    unsigned m_turns_until_check = 0;  // of the timer
};
