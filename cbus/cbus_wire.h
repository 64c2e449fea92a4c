// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>

// The bus's wire format, shared by the client library and the broker: a 12-byte header, then the name and the
// data, each padded with zero bytes to a multiple of 4. Fields are in host byte order: the bus never leaves
// the machine.

enum cbus_type_t : uint8_t {
    CBUS_SIGNAL = 1,
    CBUS_REQUEST = 2,
    CBUS_REPLY = 3,
};

struct cbus_header_t {
    uint8_t type;       // cbus_type_t
    uint8_t src;        // the sender's tag; a reply carries that of its request
    uint16_t seqn;      // the sender's count; a reply carries that of its request
    uint16_t reserved;  // 0 from a client; who answers carries it through (the broker's tag travels in it)
    uint16_t nlen;      // bytes of the name with its NUL, 0 without a name
    uint32_t dlen;      // bytes of data
};
static_assert(sizeof(cbus_header_t) == 12, "the header has no gaps on the wire");

constexpr size_t kCbusHeaderBytes = sizeof(cbus_header_t);
// Of a whole message; the broker disconnects who sends a longer one.
constexpr size_t kCbusMaxMessageBytes = size_t{8} << 20;

constexpr size_t cbus_pad4(size_t n) {
    return (n + 3) & ~size_t{3};
}

// Bytes that follow the header; at most a little over 4 GiB, so foreign headers are checked before use.
constexpr uint64_t cbus_body_bytes(const cbus_header_t& header) {
    return uint64_t{cbus_pad4(header.nlen)} + ((uint64_t{header.dlen} + 3) & ~uint64_t{3});
}
