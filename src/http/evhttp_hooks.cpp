// SPDX-License-Identifier: MIT

#include "src/http/evhttp_hooks.h"

#include <dlfcn.h>

#include <chrono>
#include <limits>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>
#include <vector>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/bufferevent_struct.h>
#include <event2/event.h>
#include <event2/http.h>
#include <event2/http_struct.h>
#include <event2/keyvalq_struct.h>

#include "src/base/drop_output.h"
#include "src/base/owners.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxChunkLine = 4096;
constexpr std::size_t kMaxPipelined = 65536;
// A request that holds less than this is not worth looking at all others for, or closing.
constexpr std::size_t kSmallHolding = 65536;

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
    Callback refused;
    std::size_t maxConnections = std::numeric_limits<std::size_t>::max();
    std::size_t maxHeld = std::numeric_limits<std::size_t>::max();
    std::size_t records = 0;
};

struct Record {
    evhttp* http = nullptr;
    Callback serve;  // the library's own, for a complete request
    Clock::time_point created = Clock::now();
    bool complete = false;
    bool broken = false;     // the library answers it itself, and closes its connection then
    bool watched = false;    // onInput is installed
    bool dropped = false;    // its connection is going to be closed, for what it holds
    std::size_t answer = 0;  // the bytes of it; they stay in one piece in memory until all are sent
    Callback pieces;
    std::shared_ptr<evbuffer> chunks;  // what has come of a body in chunks that is kept whole
};

// No callback runs while the lock is held: each works on the copies that it took.
std::mutex tablesLock;
// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::unordered_map<const evhttp*, Server>& servers = *new std::unordered_map<const evhttp*, Server>;
std::unordered_map<const evhttp_request*, Record>& records =
    *new std::unordered_map<const evhttp_request*, Record>;

bool isRegistered(const evhttp* http) {
    const std::lock_guard guard(tablesLock);
    return servers.contains(http);
}

template <class Table, class Key>
typename Table::mapped_type copyOf(const Table& table, Key key) {
    const std::lock_guard guard(tablesLock);
    const auto found = table.find(key);
    return found != table.end() ? found->second : typename Table::mapped_type();
}

// Changes the record of the request, if it has one, under the lock.
template <class Change>
void changeRecord(const evhttp_request* req, Change change) {
    const std::lock_guard guard(tablesLock);
    const auto found = records.find(req);
    if (found != records.end()) {
        change(found->second);
    }
}

template <class Function>
Function libraryFunction(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void onPiece(evhttp_request* req, void*) noexcept {
    copyOf(records, req).pieces.call(req);
}

// The open connections of the server; each has one request at a time. One that has lost its request's client is none.
std::vector<evhttp_connection*> connectionsOf(const evhttp* http) {
    const std::lock_guard guard(tablesLock);
    std::vector<evhttp_connection*> connections;
    for (const auto& [req, record] : records) {
        if (record.http == http && req->evcon != nullptr) {
            connections.push_back(req->evcon);
        }
    }
    return connections;
}

// Without a request the library closes the connection that it is for. That is always a new one: the next request of an
// open connection comes when its last one is gone.
bool refuses(const evhttp* http) {
    const Server server = copyOf(servers, http);
    if (server.records < server.maxConnections || connectionsOf(http).size() < server.maxConnections) {
        return false;
    }
    server.refused.call(nullptr);
    return true;
}

evbuffer* inputOf(const evhttp_request* req) {
    return bufferevent_get_input(evhttp_connection_get_bufferevent(req->evcon));
}

std::size_t heldBy(const evhttp_request* req, const Record& record) {
    return evbuffer_get_length(inputOf(req)) + evbuffer_get_length(req->input_buffer) + record.answer +
           (record.chunks != nullptr ? evbuffer_get_length(record.chunks.get()) : 0);
}

// Of the requests that hold too much together the one with most but for the spared one, which from now on counts as
// dropped. Null when they may hold it, and when there is nothing to be had from the others.
const evhttp_request* takeLargest(const evhttp* http, const evhttp_request* spared) {
    const std::lock_guard guard(tablesLock);
    const evhttp_request* largest = nullptr;
    std::size_t most = kSmallHolding - 1;
    std::size_t sum = 0;
    for (const auto& [req, record] : records) {
        if (record.http != http || record.dropped || req->evcon == nullptr) {
            continue;
        }
        const std::size_t held = heldBy(req, record);
        sum += held;
        if (req != spared && held > most) {
            largest = req;
            most = held;
        }
    }
    if (largest == nullptr || sum <= servers.at(http).maxHeld) {
        return nullptr;
    }
    records.at(largest).dropped = true;
    return largest;
}

// Each request keeps to its own limits, but as many as there are connections would fill the memory of a small device
// together. Inside the callbacks of a buffer no connection can be freed: the loop does it.
void makeRoom(const evhttp_request* req, const evhttp_request* spared) {
    const Record record = copyOf(records, req);
    if (record.http == nullptr || req->evcon == nullptr || heldBy(req, record) < kSmallHolding) {
        return;
    }
    while (const evhttp_request* largest = takeLargest(record.http, spared)) {
        bufferevent* connection = evhttp_connection_get_bufferevent(largest->evcon);
        bufferevent_disable(connection, EV_READ);
        // Hundreds of requests may be answered before the loop closes the first connection.
        drop_output(connection);
        bufferevent_trigger_event(connection, BEV_EVENT_READING | BEV_EVENT_EOF, BEV_TRIG_DEFER_CALLBACKS);
    }
}

// The library keeps each chunk in the block of memory that it was read into, however little of that it fills: one byte
// a block, and a body of 16 MiB would take thousands of times as much. So they are packed here, and it never has more
// than one.
void keepChunk(evhttp_request* req, void*) noexcept {
    const std::shared_ptr<evbuffer> chunks = copyOf(records, req).chunks;
    char block[4096];
    for (int count = 0; (count = evbuffer_remove(req->input_buffer, block, sizeof block)) > 0;) {
        evbuffer_add(chunks.get(), block, static_cast<std::size_t>(count));
    }
    makeRoom(req, nullptr);
}

// Whether it is one in chunks is for the library to say, which knows more spellings of it than "chunked".
bool hasCodedBody(const evhttp_request* req) {
    return evhttp_find_header(req->input_headers, "Transfer-Encoding") != nullptr;
}

void startKeepingChunks(evhttp_request* req) {
    const std::shared_ptr<evbuffer> chunks = BufferPtr(evbuffer_new());
    if (chunks != nullptr) {
        changeRecord(req, [&chunks](Record& record) { record.chunks = chunks; });
        req->chunk_cb = keepChunk;
    }
}

// The library reads on with each answer that it has sent, and so a client could pile up more with every request than
// that request takes away: while much is waiting behind a complete request, it reads a byte at a time.
void slowDown(const evhttp_request* req) {
    bufferevent* connection = evhttp_connection_get_bufferevent(req->evcon);
    const bool isPiledUp = evbuffer_get_length(bufferevent_get_input(connection)) > kMaxPipelined;
    bufferevent_set_max_single_read(connection, isPiledUp ? 1 : 0);  // 0: the library's own limit
}

// A body comes at full speed, however much came before it.
void speedUp(const evhttp_request* req) {
    bufferevent_set_max_single_read(evhttp_connection_get_bufferevent(req->evcon), 0);
}

bool isBeingAnswered(const evhttp_request* req) {
    const Record record = copyOf(records, req);
    return record.complete || record.broken;
}

// The library limits headers and bodies, but neither the line in front of a chunk, which it also searches for its
// end again with every packet, nor what a client sends while its answer is being written. Such a connection is not
// read any further: the first stays incomplete and goes by its age, the second goes on with its next request.
// (A high watermark would not do: this library calls a reader that cannot go on again and again then.)
void onInput(evbuffer* input, const evbuffer_cb_info* info, void* arg) noexcept {
    auto* req = static_cast<evhttp_request*>(arg);
    const bool waitsForChunk = req->chunked != 0 && req->ntoread < 0;
    // What stands in front of what has just come is a line without an end. When something has been taken away, it is what
    // had not been looked at yet: chunks that came together.
    if ((waitsForChunk && info->n_added > 0 && info->orig_size > kMaxChunkLine) ||
        (isBeingAnswered(req) && evbuffer_get_length(input) > kMaxPipelined)) {
        bufferevent_disable(evhttp_connection_get_bufferevent(req->evcon), EV_READ);
    }
    if (info->n_added > 0 &&
        (info->orig_size + info->n_added) / kSmallHolding > info->orig_size / kSmallHolding) {
        makeRoom(req, nullptr);
    }
}

// The library's limit on reading runs on while it writes, and would cut a client that sends nothing because it reads a
// long answer. From here on the age of a request is what limits reading; writing keeps its limit, which starts again
// with everything that the client takes.
void endReadLimit(const evhttp_request* req) {
    bufferevent* connection = evhttp_connection_get_bufferevent(req->evcon);
    const timeval writeLimit = connection->timeout_write;
    bufferevent_set_timeouts(connection, nullptr, timerisset(&writeLimit) ? &writeLimit : nullptr);
}

void watchInput(evhttp_request* req) {
    speedUp(req);
    evbuffer_add_cb(inputOf(req), onInput, req);
    changeRecord(req, [](Record& record) { record.watched = true; });
}

// The connection is still there when the library first asks for a request to be freed, or the request has lost it.
void unwatchInput(evhttp_request* req) {
    bool watched = false;
    changeRecord(req, [&watched](Record& record) { watched = std::exchange(record.watched, false); });
    if (watched && req->evcon != nullptr) {
        evbuffer_remove_cb(inputOf(req), onInput, req);
    }
}

// The library answers with the version that the client names, any two numbers of which the first is not above 1.
void answerInOwnVersion(evhttp_request* req) {
    if (req->major != 1 || (req->minor != 0 && req->minor != 1)) {
        req->major = 1;
        req->minor = 1;
    }
}

int onHeaders(evhttp_request* req, void* http) noexcept {
    answerInOwnVersion(req);
    watchInput(req);
    copyOf(servers, static_cast<evhttp*>(http)).prehandle.call(req);
    // The library would pass the argument that it also passes to its own callbacks, and so needs it unchanged.
    if (req->chunk_cb != nullptr) {
        changeRecord(req, [req](Record& record) { record.pieces.function = req->chunk_cb; });
        req->chunk_cb = onPiece;
    } else if (hasCodedBody(req)) {
        startKeepingChunks(req);
    }
    return 0;
}

// Its headers may never have come; what follows them comes all the same, for as long as the answer is not taken.
void onBroken(evhttp_request* req) {
    changeRecord(req, [](Record& record) { record.broken = true; });
    if (!copyOf(records, req).watched) {
        watchInput(req);
    }
}

void onComplete(evhttp_request* req, void*) noexcept {
    answerInOwnVersion(req);
    // The library reports a broken request here too, without a URI, and answers it itself.
    if (req->uri == nullptr) {
        onBroken(req);
    } else {
        if (const std::shared_ptr<evbuffer> chunks = copyOf(records, req).chunks; chunks != nullptr) {
            evbuffer_add_buffer(req->input_buffer, chunks.get());
        }
        slowDown(req);
        endReadLimit(req);
        changeRecord(req, [](Record& record) { record.complete = true; });
    }
    copyOf(records, req).serve.call(req);
}

}  // namespace

extern "C" evhttp_request* evhttp_request_new(void (*cb)(evhttp_request*, void*), void* arg) {
    static const auto libraryNew = libraryFunction<decltype(&evhttp_request_new)>("evhttp_request_new");
    auto* http = static_cast<evhttp*>(arg);
    if (!isRegistered(http)) {
        return libraryNew(cb, arg);
    }
    if (refuses(http)) {
        return nullptr;
    }
    evhttp_request* req = libraryNew(onComplete, arg);
    if (req != nullptr) {
        evhttp_request_set_header_cb(req, onHeaders);
        const std::lock_guard guard(tablesLock);
        Record& record = records[req];
        record.http = http;
        ++servers[http].records;
        record.serve = {cb, arg};
    }
    return req;
}

extern "C" void evhttp_request_free(evhttp_request* req) {
    static const auto libraryFree = libraryFunction<decltype(&evhttp_request_free)>("evhttp_request_free");
    unwatchInput(req);
    // With this flag the library only takes note, and frees the request when the piece has been dealt with.
    if ((req->flags & EVHTTP_REQ_DEFER_FREE) == 0) {
        Callback gone;
        {
            const std::lock_guard guard(tablesLock);
            const auto node = records.extract(req);
            if (!node.empty()) {
                Server& server = servers.at(node.mapped().http);
                --server.records;
                gone = server.gone;
            }
        }
        gone.call(req);
    }
    libraryFree(req);
}

// The library limits the bytes of the headers and not their number, and a header of two bytes takes more than a hundred
// of memory. Lists are short: they are counted anew with every header.
extern "C" int evhttp_add_header(evkeyvalq* headers, const char* key, const char* value) {
    static const auto libraryAdd = libraryFunction<decltype(&evhttp_add_header)>("evhttp_add_header");
    std::size_t count = 0;
    for (const evkeyval* header = headers->tqh_first; header != nullptr; header = header->next.tqe_next) {
        ++count;
    }
    return count < kMaxHttpHeaders ? libraryAdd(headers, key, value) : -1;
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

void evhttp_hooks_set_max_connections(evhttp* http, std::size_t max, evhttp_hook_cb refused, void* arg) {
    const std::lock_guard guard(tablesLock);
    servers[http].maxConnections = max;
    servers[http].refused = {refused, arg};
}

void evhttp_hooks_set_max_held(evhttp* http, std::size_t max) {
    const std::lock_guard guard(tablesLock);
    servers[http].maxHeld = max;
}

void evhttp_hooks_hold_answer(const evhttp_request* req, std::size_t size) {
    changeRecord(req, [size](Record& record) { record.answer = size; });
    makeRoom(req, req);
}

std::vector<std::string> evhttp_hooks_peers(const evhttp* http) {
    std::vector<std::string> peers;
    for (evhttp_connection* connection : connectionsOf(http)) {
        char* address = nullptr;
        ev_uint16_t port = 0;
        evhttp_connection_get_peer(connection, &address, &port);
        peers.emplace_back(address != nullptr ? address : "?");
    }
    return peers;
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
