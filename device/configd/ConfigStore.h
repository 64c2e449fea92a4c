// SPDX-License-Identifier: MIT

#pragma once

#include <sqlite3.h>

#include <map>
#include <memory>
#include <optional>
#include <string>

#include "device/configd/FactoryFile.h"
#include "runtime/c_owner.h"

// What is to become of the rows of these keys: their values, or none at all.
using StoreRows = std::map<std::string, std::optional<ConfigValue>, std::less<>>;

// ConfigStore: values in an SQLite file. A row of type 0 says that a factory value was deleted.
// Owns:    the file while it lives: a second program cannot open it.
// Threads: one.
// Blocks:  on a disk, until it has what was written (synchronous=FULL): what was accepted survives a power
//          cut. In a memory file system there is nothing to wait for; what was accepted survives the end of
//          the process, however it comes.
// Errors:  false, and one log line; the file is then as it was before the call.
class ConfigStore {
  public:
    enum class Medium { kDisk, kMemory };

    // Without a file a new one is begun, under its name plus ".new" until it is whole. A damaged file is moved aside
    // (damaged_file.h) first. Null, and one line on standard error, when a file cannot be opened for another
    // reason: one that may not be read or that the disk does not give stays where it is.
    [[nodiscard]] static std::unique_ptr<ConfigStore> open(const std::string& path,
                                                           Medium medium = Medium::kDisk);

    // Puts the rows of these trees over `values`; a row of type 0 takes its key out. What nobody could have written is
    // passed over with a log line.
    [[nodiscard]] bool load(KeyTree tree, ConfigValues& values);
    // In one transaction.
    [[nodiscard]] bool write(const StoreRows& rows);
    [[nodiscard]] bool clear();
    // Moves what was written into the file proper and waits for the disk.
    [[nodiscard]] bool sync();

  private:
    using Connection = COwned<sqlite3, sqlite3_close>;
    using Statement = COwned<sqlite3_stmt, sqlite3_finalize>;

    struct Opening {
        std::unique_ptr<ConfigStore> store;
        bool is_damaged = false;
        std::string reason;  // empty: nothing is wrong
    };

    explicit ConfigStore(Connection connection) : m_connection(std::move(connection)) {}
    [[nodiscard]] static Opening begin(const std::string& path, Medium medium);
    [[nodiscard]] static Opening try_open(const std::string& path, Medium medium);
    [[nodiscard]] bool set_up(Medium medium);
    [[nodiscard]] Opening check();
    [[nodiscard]] Statement prepare(const char* sql);
    [[nodiscard]] bool execute(const char* sql);
    [[nodiscard]] bool put(const std::string& key, const ConfigValue& value);
    [[nodiscard]] bool remove(const std::string& key);
    [[nodiscard]] bool finish(sqlite3_stmt* statement);
    [[nodiscard]] bool write_rows(const StoreRows& rows);
    void log_error(const char* attempt);

    Connection m_connection;
    Statement m_put;  // the statements go before the connection
    Statement m_remove;
};
