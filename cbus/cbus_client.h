// SPDX-License-Identifier: MIT

#pragma once

#include "cbus/cbus.h"

// cbus_client: callbacks by the beginning of the message name, and what a client tells the bus.
// Order:   the entries of a table are tried in the order in which they were added; the first whose prefix
//          begins
//          the name takes the message alone; an empty prefix takes everything. Without a match the message is
//          dropped.
// Owns:    a copy of each prefix.
// Null:    prefix and function are never null.

// Lets the three tables take the connection's messages.
void cbus_client_init_cb(_cbus_conn_t* connection);

void cbus_client_signal_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                               void* context);
void cbus_client_request_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                                void* context);
void cbus_client_reply_cb_add(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                              void* context);

// Removes the first entry that was added with the same three arguments; none is no error.
void cbus_client_signal_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                               void* context);
void cbus_client_request_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                                void* context);
void cbus_client_reply_cb_del(_cbus_conn_t* connection, const char* prefix, cbus_client_cb_t function,
                              void* context);

// Asks the bus for the signals whose names begin with `text`; "-" in front takes that back. Result as of
// cbus_send_signal.
int cbus_filter(_cbus_conn_t* connection, const char* text);
// Announces that this client answers the requests under the name `text`.
int cbus_provide(_cbus_conn_t* connection, const char* text);
