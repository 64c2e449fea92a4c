// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// The fixed parts of the configuration database's messages, shared by the client library and the database; host byte
// order. Messages that carry several keys are made of config_vbuf entries.

// The first word of requests and writes: a context that this database does not use.
constexpr int32_t kConfigNoContext = -1;

// "read": the value's bytes follow the reply.
struct config_read_request_t {
    int32_t context;
    uint32_t type;  // the expected one, 0 for any
    uint32_t size;  // of the reader's buffer
};
struct config_read_reply_t {
    int32_t status;
    uint32_t type;
    uint32_t length;  // of the bytes that follow
};

// "write": the value's bytes follow.
struct config_write_header_t {
    int32_t context;
    uint32_t type;
    uint32_t length;
};

// The reply to "readm": the entries follow.
struct config_match_header_t {
    uint32_t zero;
    uint32_t count;
};

// The reply to "stat".
struct config_stat_reply_t {
    int32_t status;
    uint32_t information;
};
