// SPDX-License-Identifier: MIT

#include "device/configd/ConfigStore.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "config_client/config_client_api.h"
#include "device/configd/damaged_file.h"
#include "device/configd/startup_error.h"
#include "runtime/logging.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "configd";

// Exclusive before WAL: the index of the log then needs no shared memory file, and a second database program on
// the same file fails at its start and not in the middle. Rows that lie in the order of their keys are read in it.
constexpr const char* kSetUp =
    "PRAGMA locking_mode=EXCLUSIVE;"
    "PRAGMA journal_mode=WAL;"
    "CREATE TABLE IF NOT EXISTS config (key TEXT PRIMARY KEY, type INTEGER NOT NULL, value BLOB NOT NULL)"
    " WITHOUT ROWID;";

std::string column_bytes(sqlite3_stmt* row, int column) {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row, column));
    return bytes == nullptr ? std::string()
                            : std::string(bytes, static_cast<size_t>(sqlite3_column_bytes(row, column)));
}

// A database of something else is none of ours either: it lacks the table, or has another one of its name.
bool is_damage(int error) {
    return error == SQLITE_CORRUPT || error == SQLITE_NOTADB || error == SQLITE_FORMAT ||
           error == SQLITE_ERROR;
}

// SQLite would take it for a new store, but a store is never empty once it has been opened: its content is lost.
bool is_empty_file(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_regular_file(path, error) && std::filesystem::file_size(path, error) == 0 &&
           !error;
}

bool is_missing(const std::string& path) {
    std::error_code error;
    return std::filesystem::symlink_status(path, error).type() == std::filesystem::file_type::not_found;
}

void remove_with_logs(const std::string& path) {
    for (const char* suffix : {"-wal", "-journal", ""}) {
        std::error_code error;
        std::filesystem::remove(path + suffix, error);
    }
}

// `which` is the file proper or its log, which may not be there.
bool is_readable(sqlite3* database, int which) {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(database, "main", which, static_cast<void*>(&file));
    sqlite3_int64 size = 0;
    if (file == nullptr || file->pMethods == nullptr || file->pMethods->xFileSize(file, &size) != SQLITE_OK) {
        return file != nullptr && file->pMethods == nullptr;
    }
    int result = SQLITE_OK;
    char piece[4096];
    for (sqlite3_int64 at = 0; at < size && result == SQLITE_OK; at += sqlite3_int64{sizeof piece}) {
        result = file->pMethods->xRead(file, piece, sizeof piece, at);
    }
    return result == SQLITE_OK || result == SQLITE_IOERR_SHORT_READ;
}

}  // namespace

std::unique_ptr<ConfigStore> ConfigStore::open(const std::string& path, Medium medium) {
    Opening opening;
    if (is_missing(path)) {
        opening = begin(path, medium);
    } else if (is_empty_file(path)) {
        opening = {nullptr, true, "the file is empty"};
    } else {
        opening = try_open(path, medium);
    }
    if (opening.is_damaged) {
        const std::optional<std::string> aside = damaged_file_move_aside(path);
        if (aside) {
            logger_function(3, kModule,
                            "the store '%s' is damaged (%s): it is now '%s', factory values are loaded",
                            path.c_str(), opening.reason.c_str(), aside->c_str());
            opening = begin(path, medium);
        }
    }
    if (opening.store == nullptr) {
        startup_error("cannot open the store '%s': %s", path.c_str(), opening.reason.c_str());
    }
    return std::move(opening.store);
}

ConfigStore::Opening ConfigStore::try_open(const std::string& path, Medium medium) {
    sqlite3* opened = nullptr;
    const int result =
        sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
    std::unique_ptr<ConfigStore> store(new ConfigStore(Connection(opened)));
    // What is damaged stays as it was found: its log is not worked into it when it is closed.
    sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    if (result != SQLITE_OK || !store->set_up(medium)) {
        return {nullptr, is_damage(sqlite3_errcode(opened)), sqlite3_errmsg(opened)};
    }
    Opening opening = store->check();
    if (opening.reason.empty()) {
        sqlite3_db_config(opened, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 0, nullptr);
        opening.store = std::move(store);
    }
    return opening;
}

// It gets its name when it is whole: the empty file that a kill in the middle leaves would look like damage. What an
// earlier kill left is finished; the lock on it keeps a second program out.
ConfigStore::Opening ConfigStore::begin(const std::string& path, Medium medium) {
    const std::string draft = path + ".new";
    Opening opening = try_open(draft, medium);
    if (opening.is_damaged) {
        remove_with_logs(draft);
        opening = try_open(draft, medium);
    }
    opening.is_damaged = false;
    if (opening.store == nullptr) {
        return opening;
    }
    // Somebody else was quicker, or what it holds does not fit the disk.
    if (!is_missing(path) || !opening.store->sync()) {
        return {nullptr, false, sqlite3_errmsg(opening.store->m_connection.get())};
    }
    opening.store.reset();
    remove_with_logs(path);  // the log of a store that is gone would be taken for that of the new one
    std::error_code error;
    std::filesystem::rename(draft, path, error);
    return error ? Opening{nullptr, false, error.message()} : try_open(path, medium);
}

bool ConfigStore::set_up(Medium medium) {
    if (!execute(kSetUp) ||
        !execute(medium == Medium::kDisk ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=OFF")) {
        return false;
    }
    m_put = prepare("INSERT OR REPLACE INTO config (key, type, value) VALUES (?, ?, ?)");
    m_remove = prepare("DELETE FROM config WHERE key = ?");
    return m_put != nullptr && m_remove != nullptr;
}

// Loading would not see all of it: a broken list of free pages, for one, would refuse every later write.
ConfigStore::Opening ConfigStore::check() {
    sqlite3* const database = m_connection.get();
    const Statement check = prepare("PRAGMA quick_check(1)");
    if (check == nullptr || sqlite3_step(check.get()) != SQLITE_ROW) {
        return {nullptr, is_damage(sqlite3_errcode(database)), sqlite3_errmsg(database)};
    }
    const std::string finding = column_bytes(check.get(), 0);
    if (finding == "ok") {
        return {};
    }
    // It also finds the pages that the disk did not give this time. They may be whole.
    if (!is_readable(database, SQLITE_FCNTL_FILE_POINTER) ||
        !is_readable(database, SQLITE_FCNTL_JOURNAL_POINTER)) {
        return {nullptr, false, sqlite3_errstr(SQLITE_IOERR)};
    }
    return {nullptr, true, text_for_log(finding)};
}

ConfigStore::Statement ConfigStore::prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(m_connection.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

bool ConfigStore::load(KeyTree tree, ConfigValues& values) {
    const Statement rows = prepare("SELECT key, type, value FROM config ORDER BY key");
    int result = rows != nullptr ? SQLITE_ROW : SQLITE_ERROR;
    auto place = values.begin();  // next to it the next row belongs
    while (result == SQLITE_ROW && (result = sqlite3_step(rows.get())) == SQLITE_ROW) {
        ConfigElement row{
            column_bytes(rows.get(), 0),
            {static_cast<uint32_t>(sqlite3_column_int64(rows.get(), 1)), column_bytes(rows.get(), 2)},
            CONFIG_OK};
        if (config_key_tree(row.key) != tree || config_element_check(row) != CONFIG_OK) {
            logger_function(4, kModule, "the row '%s' of the store is passed over",
                            text_for_log(row.key).c_str());
        } else if (row.value.type == CONFIG_TYPE_NONE) {
            if (const auto found = values.find(row.key); found != values.end()) {
                place = values.erase(found);
            }
        } else {
            place = std::next(values.insert_or_assign(place, std::move(row.key), std::move(row.value)));
        }
    }
    if (result != SQLITE_DONE) {
        log_error("reading the store");
    }
    return result == SQLITE_DONE;
}

bool ConfigStore::write(const StoreRows& rows) {
    if (rows.empty() || (execute("BEGIN") && write_rows(rows) && execute("COMMIT"))) {
        return true;
    }
    log_error("writing to the store");
    static_cast<void>(execute("ROLLBACK"));  // fails when SQLite has rolled back by itself
    return false;
}

bool ConfigStore::write_rows(const StoreRows& rows) {
    return std::ranges::all_of(rows, [this](const auto& row) {
        return row.second ? put(row.first, *row.second) : remove(row.first);
    });
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

bool ConfigStore::put(const std::string& key, const ConfigValue& value) {
    sqlite3_bind_text(m_put.get(), 1, key.data(), static_cast<int>(key.size()), SQLITE_STATIC);
    sqlite3_bind_int64(m_put.get(), 2, value.type);
    sqlite3_bind_blob64(m_put.get(), 3, value.data.data(), value.data.size(), SQLITE_STATIC);
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
    logger_function(3, kModule, "%s: %s", attempt, sqlite3_errmsg(m_connection.get()));
}
