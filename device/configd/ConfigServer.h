// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include "device/configd/ConfigService.h"

struct _cbus_conn_t;
struct _fdloop_idler_t;
struct _fdloop_t;
struct _fdloop_timer_t;

// ConfigServer: the database on the bus, as the provider of "config"; the signal "config.start" says that it serves.
//   Made anew when the bus has come back; the validators register again then.
// Borrows: loop, connection (made on that loop) and database; they outlive it.
// Threads: loop thread only.
// Blocks:  the constructor, until the bus has taken note of what is provided here; the destructor, until what was
//          written is on the disk.
// Errors:  whether the bus is still there is for the owner of the connection to see.
class ConfigServer final : private ConfigOutlet {
  public:
    ConfigServer(_fdloop_t* loop, _cbus_conn_t* connection, ConfigDatabase& database);
    ConfigServer(const ConfigServer&) = delete;
    ConfigServer& operator=(const ConfigServer&) = delete;
    ~ConfigServer();

  private:
    static int on_request(_cbus_conn_t*, void* self, const char* name, const void* data,
                          uint32_t length) noexcept;
    static int on_signal(_cbus_conn_t*, void* self, const char* name, const void* data,
                         uint32_t length) noexcept;
    static void on_turn(void* self) noexcept;
    static void on_timer(void* self, int, _fdloop_timer_t*) noexcept;

    void send_signal(const std::string& name, const std::string& data) override;
    Answer keep_request() override;
    void announce_names();
    void commit_unless_more_comes();
    void update_timer();

    _fdloop_t* m_loop;
    _cbus_conn_t* m_connection;
    ConfigService m_service;
    _fdloop_idler_t* m_idler = nullptr;
    _fdloop_timer_t* m_timer = nullptr;  // while a validator is being asked
};
