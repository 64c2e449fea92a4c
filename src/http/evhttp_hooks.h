// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct evhttp;
struct evhttp_request;

// evhttp_hooks: what libevent 2.1's HTTP server lacks for streamed uploads and safe bookkeeping: a hook between
// headers and body, an argument of its own for the callback of body pieces, word of the end of every request, an
// age limit for requests that never become complete, a limit on connections, and an end to reading what no limit of
// the library covers (a chunk length without end, what piles up behind a request that is being answered).
//
// It works by standing in front of the library: this module defines evhttp_request_new, evhttp_request_free and
// evhttp_add_header and hands on to the library's own. Calls inside the library arrive here as well; the configure step
// checks that the installed library lets them through. Client requests and servers that are not registered here pass
// through untouched, but for the number of their headers; a client request must not have a registered evhttp as its
// argument.
//
// Owns:      one record per live request of a registered server.
// Threads:   callbacks run on the thread of the server's loop; the tables are guarded, so other threads may run
//            evhttp of their own at the same time.
// Lifetime:  a registration ends with evhttp_hooks_free().

// evhttp_add_header fails with more headers in a list. While the library reads a request, it takes that for a broken
// one: 400 and the end of the connection.
inline constexpr std::size_t kMaxHttpHeaders = 256;

using evhttp_hook_cb = void (*)(evhttp_request* req, void* arg);

// Called for every incoming request when its request line and headers have been read, before the body is read.
// The hook may install a callback for body pieces with evhttp_request_set_chunked_cb; the URI callback runs in
// any case when the request is complete. The hook does not answer the request.
void evhttp_set_prehandle_cb(evhttp* http, evhttp_hook_cb cb, void* arg);

// Sets the argument that the body pieces' callback receives, from inside the pre-handle hook or later; until then
// it is null. Nothing happens for a request that is not a live one of a registered server.
void evhttp_set_cb_arg(evhttp_request* req, void* arg);

// Called exactly once for every request of the server, just before the library frees it, however it has ended:
// answered, broken, client gone, server freed. The request may be looked at, not answered.
void evhttp_hooks_set_gone_cb(evhttp* http, evhttp_hook_cb cb, void* arg);

// Closes every further connection at once while `max` are open; `refused` runs for each, with no request.
void evhttp_hooks_set_max_connections(evhttp* http, std::size_t max, evhttp_hook_cb refused, void* arg);

// Lets the requests of the server hold `max` bytes of bodies and answers together. With more, the connections of those
// that hold most are closed on the next turn of the loop; their answers go at once.
void evhttp_hooks_set_max_held(evhttp* http, std::size_t max);

// Makes an answer of `size` bytes, which is about to be sent, count as held until the request is gone. It is not itself
// cut for what it adds: who reads it gets it, however long it is, as long as nobody else needs the room.
void evhttp_hooks_hold_answer(const evhttp_request* req, std::size_t size);

// The addresses at the other ends of the server's open connections.
[[nodiscard]] std::vector<std::string> evhttp_hooks_peers(const evhttp* http);

// Whether the request has been read to its last byte and been handed to its URI callback; false for requests
// of servers that are not registered.
[[nodiscard]] bool evhttp_hooks_is_complete(const evhttp_request* req);

// Closes every connection of the server whose present request is not complete max_age_ms after the connection
// was accepted or its last answer was sent. The library's own timeout starts again with every byte and so never
// ends a client that dribbles, and counts for a connection's first request only: behind it a registered server depends
// on this call. Requests that wait for their answer are left alone, however long it takes, and so are clients that read
// one, as long as the library's timeout does not pass without their taking a byte.
void evhttp_hooks_close_stale(evhttp* http, long max_age_ms);

// Frees the server, with its connections, and forgets its registration. Null is allowed.
void evhttp_hooks_free(evhttp* http);
