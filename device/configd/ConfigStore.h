#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "device/configd/FactoryFile.h"
#include "runtime/c_owner.h"

// ConfigStore: the persistent values in an SQLite file. A row of type 0 says that a factory value was deleted.
// Owns:    the file while it lives: a second program cannot open it.
// Threads: one.
// Blocks:  until the disk has what was written (synchronous=FULL): what was accepted survives a power cut.
// Errors:  false, and one log line; the file is then as it was before the call.
class ConfigStore {
  public:
    // Null, and one line on standard error, when the file cannot be opened or is no store.
    [[nodiscard]] static std::unique_ptr<ConfigStore> open(const char* path);

    // Puts the rows over `values`; a row of type 0 takes its key out.
    [[nodiscard]] bool load(ConfigValues& values);
    // Writes rows and removes others in one transaction.
    [[nodiscard]] bool write(const std::vector<ConfigElement>& rows, const std::vector<std::string>& removed);
    [[nodiscard]] bool clear();
    // Moves what was written into the file proper and waits for the disk.
    [[nodiscard]] bool sync();

  private:
    using Connection = COwned<sqlite3, sqlite3_close>;
    using Statement = COwned<sqlite3_stmt, sqlite3_finalize>;

    explicit ConfigStore(Connection connection) : m_connection(std::move(connection)) {}
    [[nodiscard]] bool prepare_all();
    [[nodiscard]] Statement prepare(const char* sql);
    [[nodiscard]] bool execute(const char* sql);
    [[nodiscard]] bool put(const ConfigElement& row);
    [[nodiscard]] bool remove(const std::string& key);
    [[nodiscard]] bool finish(sqlite3_stmt* statement);
    [[nodiscard]] bool write_rows(const std::vector<ConfigElement>& rows,
                                  const std::vector<std::string>& removed);
    void log_error(const char* attempt);

    Connection m_connection;
    Statement m_put;  // the statements go before the connection
    Statement m_remove;
};
