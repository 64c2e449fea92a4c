// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "runtime/c_owner.h"

struct _cbus_conn_t;

// config_request: the messages that every operation of this library is made of.

constexpr const char* kConfigModule = "config_client_api";

// Set by config_init_cbus; borrowed.
struct config_connections_t {
    _cbus_conn_t* request = nullptr;   // sends every signal and request
    _cbus_conn_t* callback = nullptr;  // receives notifications
};
extern config_connections_t config_connections;

// Sends "config.<operation>[.<argument>]", the name cut at 511 characters. A null or empty argument is none.
int config_send_signal(const char* operation, const char* argument, const void* data, uint32_t length);

// The same as a request; waits for its reply. Returns the reply's length and puts its buffer into `reply`, or -1.
[[nodiscard]] int config_send_request(const char* operation, const char* argument, const void* data,
                                      uint32_t length, Malloced<char>& reply);
