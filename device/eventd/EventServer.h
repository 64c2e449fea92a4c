#pragma once

#include <cstdint>

#include "device/eventd/EventHandler.h"

struct _cbus_conn_t;
struct _fdloop_t;
struct _fdloop_timer_t;

// EventServer: the event handler on the bus, as the receiver of the signals "event_handler.".
//   The configuration client of this process runs on the same connection.
// Borrows: loop and connection (made on that loop); they outlive it.
// Threads: loop thread only.
// Blocks:  for the database, also in the constructor.
// Errors:  whether the bus is still there is for the owner of the connection to see.
class EventServer {
  public:
    EventServer(_fdloop_t* loop, _cbus_conn_t* connection);
    EventServer(const EventServer&) = delete;
    EventServer& operator=(const EventServer&) = delete;
    ~EventServer();

  private:
    static int on_signal(_cbus_conn_t*, void* self, const char* name, const void* data,
                         uint32_t length) noexcept;
    static void on_timer(void* self, int, _fdloop_timer_t*) noexcept;

    void check_database();

    _fdloop_t* m_loop;
    _cbus_conn_t* m_connection;
    EventHandler m_handler;
    _fdloop_timer_t* m_timer;
};
