// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cbus/cbus_wire.h"
#include "runtime/c_owner.h"

struct _cbus_conn_t;
struct _fdloop_idler_t;
struct _fdloop_t;

// cbus: one client connection to the message bus.
// Threads: one thread only; a connection is used by the thread that runs its loop.
// Blocks:  sends until the bus has taken the message, cbus_get_reply until the reply is there; the bus
//          answers every request within its own time limit.
// Errors:  0 or a count on success, -1 on failure. Out of memory stops the process (px_panic).
// Address: "unix*cbus", or what the environment's CBUS_ADDR says. CBUS_DEBUG (any value) traces to the
//          console.

// Called with the message being dispatched. `name` is never null ("" without a name); `data` is 4-aligned,
// valid until the callback returns and followed by at least kCbusRxSlackBytes (cbus_sock_impl.h) zero bytes.
// The callback may send, wait for replies and change the callback tables, but not destroy the connection. Its
// result is ignored.
using cbus_rx_cb_t = int (*)(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length);
using cbus_client_cb_t = int (*)(_cbus_conn_t* connection, void* context, const char* name, const void* data,
                                 uint32_t length);

struct cbus_message_t {
    cbus_header_t header;
    const char* name;
    const void* data;
};

struct cbus_rx_callbacks_t {
    cbus_rx_cb_t on_signal;
    cbus_rx_cb_t on_request;
    cbus_rx_cb_t on_reply;
};

// Entry of a callback table: takes the messages whose name begins with `prefix`.
struct cbus_client_entry_t {
    std::string prefix;
    cbus_client_cb_t function;
    void* context;
};
using cbus_client_table_t = std::vector<cbus_client_entry_t>;

// A message that was read while a reply was awaited.
struct cbus_pending_t {
    std::unique_ptr<cbus_pending_t> next;
    cbus_header_t header;
    Malloced<char> body;
    size_t size;  // of the body
};

struct cbus_client_t {
    _fdloop_t* fdloop;  // may be null
    _cbus_conn_t* connection;
    cbus_rx_callbacks_t rx;
    void (*close)(_cbus_conn_t* connection);  // closes the socket and sets it to -1
    _fdloop_idler_t* idler;                   // null without a loop
};

struct _cbus_conn_t {
    int socket = -1;                    // -1 once closed
    uint16_t next_seqn = 0;             // of the next signal or request
    cbus_message_t current{};           // being dispatched; type 0 when there is none
    cbus_rx_callbacks_t* rx = nullptr;  // those of the client record
    std::unique_ptr<cbus_client_t> client;
    cbus_client_table_t signal_table;
    cbus_client_table_t request_table;
    cbus_client_table_t reply_table;
    std::unique_ptr<cbus_pending_t> pending_head;  // in order of arrival
    cbus_pending_t* pending_tail = nullptr;
    uint32_t pending_count = 0;
};

// What a later reply to a request needs.
struct cbus_sender_ctx_t {
    cbus_header_t header;
    MallocedText name;  // null when the request had none
    const void* data;   // not valid after the dispatch of the request
};

// Connects; null when that fails. With a loop (which must outlive the connection) incoming messages are
// dispatched from it. `name` is for the reader of the calling code only. The caller destroys the connection.
[[nodiscard]] _cbus_conn_t* cbus_conn_create(_fdloop_t* fdloop, const char* name);

// Closes the socket, takes the connection out of its loop and frees it with what is still queued.
void cbus_conn_destroy(_cbus_conn_t* connection);

// Null callbacks drop the messages of their kind.
void cbus_conn_set_rx_cb(_cbus_conn_t* connection, cbus_rx_cb_t on_signal, cbus_rx_cb_t on_request,
                         cbus_rx_cb_t on_reply);

// A null name sends no name, null data sends no data whatever `length` says. A closed connection, a name
// beyond 65534 bytes and a message that is not taken whole are failures.
int cbus_send_signal(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length);
// Returns the cookie for cbus_get_reply.
int cbus_send_request(_cbus_conn_t* connection, const char* name, const void* data, uint32_t length);
// Answers the message being dispatched; fails when there is none.
int cbus_send_reply(_cbus_conn_t* connection, const void* data, uint32_t length);

// Keeps the message being dispatched so that it can be answered after its callback has returned. The result
// goes to cbus_send_reply_to or cbus_free_sender_ctx, which free it.
[[nodiscard]] cbus_sender_ctx_t* cbus_store_sender_ctx(_cbus_conn_t* connection);
// Sends and frees the context whatever the result; the message being dispatched stays the current one.
int cbus_send_reply_to(_cbus_conn_t* connection, const void* data, uint32_t length,
                       cbus_sender_ctx_t* senderContext);
// Makes the kept message the current one for cbus_send_reply, until the dispatch that runs now ends (if one
// does), the next one begins or the context is freed.
void cbus_copy_sender_ctx(_cbus_conn_t* connection, const cbus_sender_ctx_t* senderContext);
// A null context stops the process.
void cbus_free_sender_ctx(cbus_sender_ctx_t* senderContext);

// Waits for the reply to the request with this cookie. Returns the data's length and puts a malloc'd buffer
// into *dataOut (also for length 0; zero bytes follow the data), which the caller frees. Returns -1 and
// leaves *dataOut alone when the bus is lost. Whatever else arrives meanwhile is dispatched later from the
// loop. A reply with another cookie stops the process: the one request at a time of this connection has been
// confused.
int cbus_get_reply(_cbus_conn_t* connection, int cookie, void** dataOut);

// Prints one message to the console: time, src of the current message, `function`, name, size and a dump.
void cbus_show_message(_cbus_conn_t* connection, const char* function, const char* name, const void* data,
                       uint32_t length);
