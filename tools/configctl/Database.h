// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "cbus/cbus.h"
#include "config_values/ConfigValue.h"
#include "runtime/fdloop_libevent.h"

// Database: the configuration database at the other end of the bus. One object a process: the client library below
// knows one connection.
// Blocks:  every method until the database has answered, for at most 60 s.
// Errors:  nothing: no answer, because there is no database on the bus or the bus is gone. Statuses are those of
//          config_client_api.h. A database that answers in another form stops the process (the library's rule).
// Keys:    1 to 255 bytes; patterns up to 498.
class Database {
  public:
    struct Value {
        int status;
        ConfigValue value;  // meaningless unless the status is 0
    };
    struct Information {
        std::uint32_t type;
        bool is_there;
        bool persists;
        bool is_factory_value;
    };

    Database() = default;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    // Nothing, or in words why there is no connection.
    [[nodiscard]] std::optional<std::string> connect(const std::string& address);

    [[nodiscard]] std::optional<Value> read(const std::string& key);
    [[nodiscard]] std::optional<Information> information(const std::string& key);
    // In the order of the keys.
    [[nodiscard]] std::optional<std::vector<ConfigEntry>> match(const std::string& pattern);
    // Writes all entries or none: the status of each, all 0 when they are written. Type 0 deletes.
    [[nodiscard]] std::optional<std::vector<int>> modify(const std::vector<ConfigEntry>& entries);
    [[nodiscard]] std::optional<int> resetToFactory();
    // False without an answer.
    [[nodiscard]] bool sync();
    [[nodiscard]] bool isThere();

    // For waiting; -1 once the bus is gone.
    [[nodiscard]] int socket() const { return m_connection->socket; }
    // Takes what has come and calls those registered with the client library. The socket has to be readable.
    void dispatch() { fdloop_run(m_loop.get()); }

  private:
    FdLoopPtr m_loop;
    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection;
    std::string m_buffer;
};

// A pattern that every key matches.
[[nodiscard]] std::string database_all_keys();
