// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

#include "cbus/cbus_wire.h"
#include "runtime/c_owner.h"

// cbus_sock_impl: whole messages over a blocking bus socket.

// A header that announces more is taken for a failed read: no peer makes this process allocate gigabytes.
constexpr size_t kCbusMaxBodyBytes = size_t{16} << 20;
// Zero bytes that stand behind every received body, for readers that look a little past the last entry.
constexpr size_t kCbusRxSlackBytes = 16;

struct cbus_rx_message_t {
    cbus_header_t header{};
    Malloced<char> body;  // name, padding, data, zeros
};

// Reads one message: its size on the wire, or -1 when the peer is gone, the read fails or the body is too
// large; `message` is then undefined. The name is NUL-terminated inside nlen afterwards (a name that was not
// is cut), and everything behind the data is zero.
[[nodiscard]] int cbus_msg_read(int socket, cbus_rx_message_t& message);

// Sends one message with one gathered write; nlen and dlen of `header` are worked out here. 0, or -1 when not
// all of it was taken, or nothing because it would be longer than the broker allows. Never raises SIGPIPE.
[[nodiscard]] int cbus_msg_write(int socket, cbus_header_t header, const char* name, const void* data,
                                 uint32_t length);
