#include "src/http/evhttp_hooks.h"

#include <dlfcn.h>

#include <chrono>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include <event2/http.h>
#include <event2/http_struct.h>

namespace {

using Clock = std::chrono::steady_clock;

struct Callback {
    evhttp_hook_cb function = nullptr;
    void* arg = nullptr;

    void call(evhttp_request* req) const {
        if (function != nullptr) {
            function(req, arg);
        }
    }
};

struct Server {
    Callback prehandle;
    Callback gone;
};

struct Record {
    evhttp* http = nullptr;
    evhttp_hook_cb serve = nullptr;  // the library's own callback for a complete request
    Clock::time_point created;
    bool complete = false;
    Callback pieces;
};

// No callback runs while the lock is held: each works on the copies that it took.
std::mutex tablesLock;
std::unordered_map<const evhttp*, Server> servers;
std::unordered_map<const evhttp_request*, Record> records;

template <class Table, class Key>
typename Table::mapped_type copyOf(const Table& table, Key key) {
    const std::lock_guard guard(tablesLock);
    const auto found = table.find(key);
    return found != table.end() ? found->second : typename Table::mapped_type();
}

// Changes the record under the lock; false when the request has none.
template <class Change>
bool changeRecord(const evhttp_request* req, Change change) {
    const std::lock_guard guard(tablesLock);
    const auto found = records.find(req);
    if (found == records.end()) {
        return false;
    }
    change(found->second);
    return true;
}

template <class Function>
Function libraryFunction(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void onPiece(evhttp_request* req, void*) {
    copyOf(records, req).pieces.call(req);
}

int onHeaders(evhttp_request* req, void* http) {
    copyOf(servers, static_cast<evhttp*>(http)).prehandle.call(req);
    // The library would pass the argument that it also passes to its own callbacks, and so needs it unchanged.
    if (req->chunk_cb != nullptr) {
        changeRecord(req, [req](Record& record) { record.pieces.function = req->chunk_cb; });
        req->chunk_cb = onPiece;
    }
    return 0;
}

void onComplete(evhttp_request* req, void* http) {
    // The library reports a broken request here too, without a URI, and answers it itself.
    if (req->uri != nullptr) {
        changeRecord(req, [](Record& record) { record.complete = true; });
    }
    copyOf(records, req).serve(req, http);
}

}  // namespace

extern "C" evhttp_request* evhttp_request_new(void (*cb)(evhttp_request*, void*), void* arg) {
    static const auto libraryNew = libraryFunction<decltype(&evhttp_request_new)>("evhttp_request_new");
    auto* http = static_cast<evhttp*>(arg);
    {
        const std::lock_guard guard(tablesLock);
        if (!servers.contains(http)) {
            http = nullptr;
        }
    }
    if (http == nullptr) {
        return libraryNew(cb, arg);
    }
    evhttp_request* req = libraryNew(onComplete, arg);
    if (req != nullptr) {
        evhttp_request_set_header_cb(req, onHeaders);
        const std::lock_guard guard(tablesLock);
        records[req] =
            Record{.http = http, .serve = cb, .created = Clock::now(), .complete = false, .pieces = {}};
    }
    return req;
}

extern "C" void evhttp_request_free(evhttp_request* req) {
    static const auto libraryFree = libraryFunction<decltype(&evhttp_request_free)>("evhttp_request_free");
    // With this flag the library only takes note, and frees the request when the piece has been dealt with.
    if ((req->flags & EVHTTP_REQ_DEFER_FREE) == 0) {
        Callback gone;
        {
            const std::lock_guard guard(tablesLock);
            const auto node = records.extract(req);
            if (!node.empty()) {
                gone = servers.at(node.mapped().http).gone;
            }
        }
        gone.call(req);
    }
    libraryFree(req);
}

void evhttp_set_prehandle_cb(evhttp* http, evhttp_hook_cb cb, void* arg) {
    const std::lock_guard guard(tablesLock);
    servers[http].prehandle = {cb, arg};
}

void evhttp_set_cb_arg(evhttp_request* req, void* arg) {
    changeRecord(req, [arg](Record& record) { record.pieces.arg = arg; });
}

void evhttp_hooks_set_gone_cb(evhttp* http, evhttp_hook_cb cb, void* arg) {
    const std::lock_guard guard(tablesLock);
    servers[http].gone = {cb, arg};
}

bool evhttp_hooks_is_complete(const evhttp_request* req) {
    return copyOf(records, req).complete;
}

void evhttp_hooks_close_stale(evhttp* http, long max_age_ms) {
    const Clock::time_point limit = Clock::now() - std::chrono::milliseconds(max_age_ms);
    std::vector<evhttp_connection*> stale;
    {
        const std::lock_guard guard(tablesLock);
        for (const auto& [req, record] : records) {
            // A connection serves one request at a time and so appears once.
            if (record.http == http && !record.complete && record.created <= limit && req->evcon != nullptr) {
                stale.push_back(req->evcon);
            }
        }
    }
    for (evhttp_connection* connection : stale) {
        evhttp_connection_free(connection);
    }
}

void evhttp_hooks_free(evhttp* http) {
    if (http == nullptr) {
        return;
    }
    evhttp_free(http);
    const std::lock_guard guard(tablesLock);
    servers.erase(http);
    std::erase_if(records, [http](const auto& entry) { return entry.second.http == http; });
}
