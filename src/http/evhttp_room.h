// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>

struct evhttp_request;

// evhttp_room: the memory that all requests of a server hold together, of bodies and answers.
// Threads: the thread of the server's loop.

// A request that holds less than this is not worth looking at all others for, or closing.
constexpr std::size_t kSmallHolding = 65536;

// When the requests of the server hold more than they may, and this one not little, the connections of those that hold
// most are closed on the next turn of the loop; never the one of `spared`, which may be null.
void evhttp_room_make(const evhttp_request* req, const evhttp_request* spared);

// Keeps the body of the request, which comes in chunks, in one piece until evhttp_room_take_chunks().
void evhttp_room_keep_chunks(evhttp_request* req);
// Hands what has been kept, if anything, to the request's own buffer.
void evhttp_room_take_chunks(const evhttp_request* req);
