// SPDX-License-Identifier: MIT

#include "src/http/evhttp_room.h"

#include <memory>
#include <mutex>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/http_struct.h>

#include "src/base/drop_output.h"
#include "src/base/owners.h"
#include "src/http/evhttp_records.h"

namespace {

std::size_t heldBy(const evhttp_request* req, const EvhttpRecord& record) {
    return evbuffer_get_length(evhttp_input_of(req)) + evbuffer_get_length(req->input_buffer) +
           record.answer + (record.chunks != nullptr ? evbuffer_get_length(record.chunks.get()) : 0);
}

// Of the requests that hold too much together the one with most but for the spared one, which from now on counts as
// dropped. Null when they may hold it, and when there is nothing to be had from the others.
const evhttp_request* takeLargest(const evhttp* http, const evhttp_request* spared) {
    const std::lock_guard guard(evhttp_tables_lock);
    const evhttp_request* largest = nullptr;
    std::size_t most = kSmallHolding - 1;
    std::size_t sum = 0;
    for (const auto& [req, record] : evhttp_records) {
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
    if (largest == nullptr || sum <= evhttp_servers.at(http).maxHeld) {
        return nullptr;
    }
    evhttp_records.at(largest).dropped = true;
    return largest;
}

// The library keeps each chunk in the block of memory that it was read into, however little of that it fills: one byte
// a block, and a body of 16 MiB would take thousands of times as much. So they are packed here, and it never has more
// than one.
void keepChunk(evhttp_request* req, void*) noexcept {
    const std::shared_ptr<evbuffer> chunks = evhttp_record_of(req).chunks;
    char block[4096];
    for (int count = 0; (count = evbuffer_remove(req->input_buffer, block, sizeof block)) > 0;) {
        evbuffer_add(chunks.get(), block, static_cast<std::size_t>(count));
    }
    evhttp_room_make(req, nullptr);
}

}  // namespace

// Each request keeps to its own limits, but as many as there are connections would fill the memory of a small device
// together. Inside the callbacks of a buffer no connection can be freed: the loop does it.
void evhttp_room_make(const evhttp_request* req, const evhttp_request* spared) {
    const EvhttpRecord record = evhttp_record_of(req);
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

void evhttp_room_keep_chunks(evhttp_request* req) {
    const std::shared_ptr<evbuffer> chunks = BufferPtr(evbuffer_new());
    if (chunks != nullptr) {
        evhttp_record_change(req, [&chunks](EvhttpRecord& record) { record.chunks = chunks; });
        req->chunk_cb = keepChunk;
    }
}

void evhttp_room_take_chunks(const evhttp_request* req) {
    if (const std::shared_ptr<evbuffer> chunks = evhttp_record_of(req).chunks; chunks != nullptr) {
        evbuffer_add_buffer(req->input_buffer, chunks.get());
    }
}
