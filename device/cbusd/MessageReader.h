// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>

#include "cbus/cbus_wire.h"

// A message as it lies in a reader's buffer.
struct BusMessage {
    cbus_header_t header;
    std::string_view name;       // up to its first NUL; empty without a name
    std::span<const char> data;  // without its padding
    std::span<const char> body;  // all that follows the header on the wire
};

// MessageReader: cuts a stream of foreign bytes into bus messages. It knows no sockets: the caller receives into
// room() and tells with commit() how much came.
// Errors: next() answers kMalformed for an unknown type, a message over kMaxMessageBytes and a name without its NUL,
//         for ever after. The bytes of the padding are not looked at.
// Units:  the buffer grows with what has come, not with what a header announces; at most about twice a message.
class MessageReader {
  public:
    enum class Result { kMessage, kIncomplete, kMalformed };
    static constexpr size_t kMaxMessageBytes = kCbusMaxMessageBytes;

    // Never empty. Messages from before become invalid.
    [[nodiscard]] std::span<char> room();
    void commit(size_t received) { m_end += received; }
    // What has come and was not taken with next() yet.
    [[nodiscard]] size_t pending_bytes() const { return m_end - m_begin; }

    // The next complete message, valid until room() is called.
    [[nodiscard]] Result next(BusMessage& message);
    // The message that next() gave last is the next one again.
    void put_back(const BusMessage& message) { m_begin -= kCbusHeaderBytes + message.body.size(); }

  private:
    void make_room();

    std::unique_ptr<char[]> m_buffer;
    size_t m_capacity = 0;
    size_t m_begin = 0;  // of what was not taken yet
    size_t m_end = 0;
};
