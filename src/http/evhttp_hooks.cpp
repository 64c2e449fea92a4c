// SPDX-License-Identifier: MIT

#include "src/http/evhttp_hooks.h"

#include <dlfcn.h>

#include <chrono>
#include <mutex>
#include <utility>
#include <vector>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/bufferevent_struct.h>
#include <event2/event.h>
#include <event2/http.h>
#include <event2/http_struct.h>
#include <event2/keyvalq_struct.h>

#include "src/http/evhttp_records.h"
#include "src/http/evhttp_room.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxChunkLine = 4096;
constexpr std::size_t kMaxPipelined = 65536;

template <class Function>
Function libraryFunction(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

void onPiece(evhttp_request* req, void*) noexcept {
    evhttp_record_of(req).pieces.call(req);
}

// Without a request the library closes the connection that it is for. That is always a new one: the next request of an
// open connection comes when its last one is gone.
bool refuses(const evhttp* http) {
    const EvhttpServer server = evhttp_server_of(http);
    if (server.records < server.maxConnections ||
        evhttp_connections_of(http).size() < server.maxConnections) {
        return false;
    }
    server.refused.call(nullptr);
    return true;
}

// Whether it is one in chunks is for the library to say, which knows more spellings of it than "chunked".
bool hasCodedBody(const evhttp_request* req) {
    return evhttp_find_header(req->input_headers, "Transfer-Encoding") != nullptr;
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
    const EvhttpRecord record = evhttp_record_of(req);
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
        (evbuffer_get_length(input) > kMaxPipelined && isBeingAnswered(req))) {
        bufferevent_disable(evhttp_connection_get_bufferevent(req->evcon), EV_READ);
    }
    if (info->n_added > 0 &&
        (info->orig_size + info->n_added) / kSmallHolding > info->orig_size / kSmallHolding) {
        evhttp_room_make(req, nullptr);
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
    evbuffer_add_cb(evhttp_input_of(req), onInput, req);
    evhttp_record_change(req, [](EvhttpRecord& record) { record.watched = true; });
}

// The connection is still there when the library first asks for a request to be freed, or the request has lost it.
void unwatchInput(evhttp_request* req) {
    bool watched = false;
    evhttp_record_change(
        req, [&watched](EvhttpRecord& record) { watched = std::exchange(record.watched, false); });
    if (watched && req->evcon != nullptr) {
        evbuffer_remove_cb(evhttp_input_of(req), onInput, req);
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
    evhttp_server_of(static_cast<evhttp*>(http)).prehandle.call(req);
    // The library would pass the argument that it also passes to its own callbacks, and so needs it unchanged.
    if (req->chunk_cb != nullptr) {
        evhttp_record_change(req, [req](EvhttpRecord& record) { record.pieces.function = req->chunk_cb; });
        req->chunk_cb = onPiece;
    } else if (hasCodedBody(req)) {
        evhttp_room_keep_chunks(req);
    }
    return 0;
}

// Its headers may never have come; what follows them comes all the same, for as long as the answer is not taken.
void onBroken(evhttp_request* req) {
    evhttp_record_change(req, [](EvhttpRecord& record) { record.broken = true; });
    if (!evhttp_record_of(req).watched) {
        watchInput(req);
    }
}

void onComplete(evhttp_request* req, void*) noexcept {
    answerInOwnVersion(req);
    // The library reports a broken request here too, without a URI, and answers it itself.
    if (req->uri == nullptr) {
        onBroken(req);
    } else {
        evhttp_room_take_chunks(req);
        slowDown(req);
        endReadLimit(req);
        evhttp_record_change(req, [](EvhttpRecord& record) { record.complete = true; });
    }
    evhttp_record_of(req).serve.call(req);
}

}  // namespace

extern "C" evhttp_request* evhttp_request_new(void (*cb)(evhttp_request*, void*), void* arg) {
    static const auto libraryNew = libraryFunction<decltype(&evhttp_request_new)>("evhttp_request_new");
    auto* http = static_cast<evhttp*>(arg);
    if (!evhttp_is_registered(http)) {
        return libraryNew(cb, arg);
    }
    if (refuses(http)) {
        return nullptr;
    }
    evhttp_request* req = libraryNew(onComplete, arg);
    if (req != nullptr) {
        evhttp_request_set_header_cb(req, onHeaders);
        const std::lock_guard guard(evhttp_tables_lock);
        EvhttpRecord& record = evhttp_records[req];
        record.http = http;
        ++evhttp_servers[http].records;
        record.serve = {cb, arg};
    }
    return req;
}

extern "C" void evhttp_request_free(evhttp_request* req) {
    static const auto libraryFree = libraryFunction<decltype(&evhttp_request_free)>("evhttp_request_free");
    unwatchInput(req);
    // With this flag the library only takes note, and frees the request when the piece has been dealt with.
    if ((req->flags & EVHTTP_REQ_DEFER_FREE) == 0) {
        EvhttpCallback gone;
        {
            const std::lock_guard guard(evhttp_tables_lock);
            const auto node = evhttp_records.extract(req);
            if (!node.empty()) {
                EvhttpServer& server = evhttp_servers.at(node.mapped().http);
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
    const std::lock_guard guard(evhttp_tables_lock);
    evhttp_servers[http].prehandle = {cb, arg};
}

void evhttp_set_cb_arg(evhttp_request* req, void* arg) {
    evhttp_record_change(req, [arg](EvhttpRecord& record) { record.pieces.arg = arg; });
}

void evhttp_hooks_set_gone_cb(evhttp* http, evhttp_hook_cb cb, void* arg) {
    const std::lock_guard guard(evhttp_tables_lock);
    evhttp_servers[http].gone = {cb, arg};
}

void evhttp_hooks_set_max_connections(evhttp* http, std::size_t max, evhttp_hook_cb refused, void* arg) {
    const std::lock_guard guard(evhttp_tables_lock);
    evhttp_servers[http].maxConnections = max;
    evhttp_servers[http].refused = {refused, arg};
}

void evhttp_hooks_set_max_held(evhttp* http, std::size_t max) {
    const std::lock_guard guard(evhttp_tables_lock);
    evhttp_servers[http].maxHeld = max;
}

void evhttp_hooks_hold_answer(const evhttp_request* req, std::size_t size) {
    evhttp_record_change(req, [size](EvhttpRecord& record) { record.answer = size; });
    evhttp_room_make(req, req);
}

std::vector<std::string> evhttp_hooks_peers(const evhttp* http) {
    std::vector<std::string> peers;
    for (evhttp_connection* connection : evhttp_connections_of(http)) {
        char* address = nullptr;
        ev_uint16_t port = 0;
        evhttp_connection_get_peer(connection, &address, &port);
        peers.emplace_back(address != nullptr ? address : "?");
    }
    return peers;
}

bool evhttp_hooks_is_complete(const evhttp_request* req) {
    return evhttp_record_of(req).complete;
}

void evhttp_hooks_close_stale(evhttp* http, long max_age_ms) {
    const Clock::time_point limit = Clock::now() - std::chrono::milliseconds(max_age_ms);
    std::vector<evhttp_connection*> stale;
    {
        const std::lock_guard guard(evhttp_tables_lock);
        for (const auto& [req, record] : evhttp_records) {
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
    const std::lock_guard guard(evhttp_tables_lock);
    evhttp_servers.erase(http);
    std::erase_if(evhttp_records, [http](const auto& entry) { return entry.second.http == http; });
}
