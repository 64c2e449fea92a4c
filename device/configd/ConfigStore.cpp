#include "device/configd/ConfigStore.h"

#include <algorithm>
#include <utility>

#include "config_client/config_client_api.h"
#include "device/configd/startup_error.h"
#include "runtime/logging.h"

namespace {

// Exclusive before WAL: the index of the log then needs no shared memory file, and a second database program on
// the same file fails at its start and not in the middle.
constexpr const char* kSetUp =
    "PRAGMA locking_mode=EXCLUSIVE;"
    "PRAGMA journal_mode=WAL;"
    "PRAGMA synchronous=FULL;"
    "CREATE TABLE IF NOT EXISTS config (key TEXT PRIMARY KEY, type INTEGER NOT NULL, value BLOB NOT NULL);";

std::string column_bytes(sqlite3_stmt* row, int column) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
    return bytes == nullptr ? std::string()
                            : std::string(bytes, static_cast<size_t>(sqlite3_column_bytes(row, column)));
}

}  // namespace

std::unique_ptr<ConfigStore> ConfigStore::open(const char* path) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open_v2(path, &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    std::unique_ptr<ConfigStore> store(new ConfigStore(Connection(opened)));
    if (result != SQLITE_OK || sqlite3_exec(opened, kSetUp, nullptr, nullptr, nullptr) != SQLITE_OK ||
        !store->prepare_all()) {
        startup_error("cannot open the store '%s': %s", path, sqlite3_errmsg(opened));
        return nullptr;
    }
    return store;
}

bool ConfigStore::prepare_all() {
    m_put = prepare("INSERT OR REPLACE INTO config (key, type, value) VALUES (?, ?, ?)");
    m_remove = prepare("DELETE FROM config WHERE key = ?");
    return m_put != nullptr && m_remove != nullptr;
}

ConfigStore::Statement ConfigStore::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(m_connection.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

bool ConfigStore::load(ConfigValues& values) {
    const Statement rows = prepare("SELECT key, type, value FROM config");
    int result = rows != nullptr ? SQLITE_ROW : SQLITE_ERROR;
    while (result == SQLITE_ROW && (result = sqlite3_step(rows.get())) == SQLITE_ROW) {
        std::string key = column_bytes(rows.get(), 0);
        const auto type = static_cast<uint32_t>(sqlite3_column_int64(rows.get(), 1));
        if (type == CONFIG_TYPE_NONE) {
            values.erase(key);
        } else {
            values.insert_or_assign(std::move(key), ConfigValue{type, column_bytes(rows.get(), 2)});
        }
    }
    if (result != SQLITE_DONE) {
        log_error("reading the store");
    }
    return result == SQLITE_DONE;
}

bool ConfigStore::write(const std::vector<ConfigElement>& rows, const std::vector<std::string>& removed) {
    if (execute("BEGIN") && write_rows(rows, removed) && execute("COMMIT")) {
        return true;
    }
    log_error("writing to the store");
    static_cast<void>(execute("ROLLBACK"));  // fails when SQLite has rolled back by itself
    return false;
}

bool ConfigStore::write_rows(const std::vector<ConfigElement>& rows,
                             const std::vector<std::string>& removed) {
    return std::ranges::all_of(rows, [this](const ConfigElement& row) { return put(row); }) &&
           std::ranges::all_of(removed, [this](const std::string& key) { return remove(key); });
}

bool ConfigStore::clear() {
    const bool is_cleared = execute("DELETE FROM config");
    if (!is_cleared) {
        log_error("clearing the store");
    }
    return is_cleared;
}

bool ConfigStore::sync() {
    const bool is_synced = execute("PRAGMA wal_checkpoint(FULL)");
    if (!is_synced) {
        log_error("syncing the store");
    }
    return is_synced;
}

bool ConfigStore::execute(const char* sql) {
    return sqlite3_exec(m_connection.get(), sql, nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool ConfigStore::put(const ConfigElement& row) {
    sqlite3_bind_text(m_put.get(), 1, row.key.data(), static_cast<int>(row.key.size()), SQLITE_STATIC);
    sqlite3_bind_int64(m_put.get(), 2, row.value.type);
    sqlite3_bind_blob64(m_put.get(), 3, row.value.data.data(), row.value.data.size(), SQLITE_STATIC);
    return finish(m_put.get());
}

bool ConfigStore::remove(const std::string& key) {
    sqlite3_bind_text(m_remove.get(), 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    return finish(m_remove.get());
}

// The bindings point into the caller's row: they do not outlive it.
bool ConfigStore::finish(sqlite3_stmt* statement) {
    const bool is_done = sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_reset(statement);
    sqlite3_clear_bindings(statement);
    return is_done;
}

void ConfigStore::log_error(const char* attempt) {
    logger_function(3, "configd", "%s: %s", attempt, sqlite3_errmsg(m_connection.get()));
}
