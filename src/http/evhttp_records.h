// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <limits>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <event2/buffer.h>
#include <event2/http.h>

#include "src/http/evhttp_hooks.h"

// evhttp_records: what evhttp_hooks keeps of each registered server and of each of its live requests.
// Threads: the tables are touched under the lock alone. No callback runs while it is held: each works on the copies
//          that it took.

struct EvhttpCallback {
    evhttp_hook_cb function = nullptr;
    void* arg = nullptr;

    void call(evhttp_request* req) const {
        if (function != nullptr) {
            function(req, arg);
        }
    }
};

struct EvhttpServer {
    EvhttpCallback prehandle;
    EvhttpCallback gone;
    EvhttpCallback refused;
    std::size_t maxConnections = std::numeric_limits<std::size_t>::max();
    std::size_t maxHeld = std::numeric_limits<std::size_t>::max();
    std::size_t records = 0;
};

struct EvhttpRecord {
    evhttp* http = nullptr;
    EvhttpCallback serve;  // the library's own, for a complete request
    std::chrono::steady_clock::time_point created = std::chrono::steady_clock::now();
    bool complete = false;
    bool broken = false;     // the library answers it itself, and closes its connection then
    bool watched = false;    // onInput is installed
    bool dropped = false;    // its connection is going to be closed, for what it holds
    std::size_t answer = 0;  // the bytes of it; they stay in one piece in memory until all are sent
    EvhttpCallback pieces;
    std::shared_ptr<evbuffer> chunks;  // what has come of a body in chunks that is kept whole
};

extern std::mutex evhttp_tables_lock;
extern std::unordered_map<const evhttp*, EvhttpServer>& evhttp_servers;
extern std::unordered_map<const evhttp_request*, EvhttpRecord>& evhttp_records;

[[nodiscard]] bool evhttp_is_registered(const evhttp* http);
// The open connections of the server; each has one request at a time. One that has lost its request's client is none.
[[nodiscard]] std::vector<evhttp_connection*> evhttp_connections_of(const evhttp* http);
[[nodiscard]] evbuffer* evhttp_input_of(const evhttp_request* req);

// Copies; one of nothing when it is not in the tables.
[[nodiscard]] EvhttpServer evhttp_server_of(const evhttp* http);
[[nodiscard]] EvhttpRecord evhttp_record_of(const evhttp_request* req);

// Changes the record of the request, if it has one, under the lock.
template <class Change>
void evhttp_record_change(const evhttp_request* req, Change change) {
    const std::lock_guard guard(evhttp_tables_lock);
    const auto found = evhttp_records.find(req);
    if (found != evhttp_records.end()) {
        change(found->second);
    }
}
