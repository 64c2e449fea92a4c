// SPDX-License-Identifier: MIT

#include "device/cbusd/MessageReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr size_t kFirstCapacity = size_t{16} << 10;
constexpr size_t kMinRoom = size_t{4} << 10;
// What a large message made the buffer grow beyond this is given back once the buffer is empty.
constexpr size_t kKeptCapacity = size_t{256} << 10;

bool is_plausible(const cbus_header_t& header) {
    return header.type >= CBUS_SIGNAL && header.type <= CBUS_REPLY &&
           kCbusHeaderBytes + cbus_body_bytes(header) <= MessageReader::kMaxMessageBytes;
}

}  // namespace

std::span<char> MessageReader::room() {
    if (m_begin == m_end) {
        m_begin = m_end = 0;
        if (m_capacity > kKeptCapacity) {
            m_buffer.reset();
            m_capacity = 0;
        }
    }
    if (m_capacity - m_end < kMinRoom) {
        make_room();
    }
    return {m_buffer.get() + m_end, m_capacity - m_end};
}

void MessageReader::make_room() {
    const size_t kept = m_end - m_begin;
    const char* old = m_buffer.get() + m_begin;
    if (kept + kMinRoom <= m_capacity / 2) {
        memmove(m_buffer.get(), old, kept);
    } else {
        m_capacity = std::max(kFirstCapacity, 2 * m_capacity);
        auto larger = std::make_unique_for_overwrite<char[]>(m_capacity);
        std::copy_n(old, kept, larger.get());
        m_buffer = std::move(larger);
    }
    m_begin = 0;
    m_end = kept;
}

MessageReader::Result MessageReader::next(BusMessage& message) {
    const size_t available = m_end - m_begin;
    if (available < kCbusHeaderBytes) {
        return Result::kIncomplete;
    }
    const char* start = m_buffer.get() + m_begin;
    cbus_header_t& header = message.header;
    memcpy(&header, start, kCbusHeaderBytes);
    if (!is_plausible(header)) {
        return Result::kMalformed;
    }
    const size_t body_bytes = cbus_body_bytes(header);
    if (available < kCbusHeaderBytes + body_bytes) {
        return Result::kIncomplete;
    }
    const char* body = start + kCbusHeaderBytes;
    if (header.nlen > 0 && body[header.nlen - 1] != '\0') {
        return Result::kMalformed;
    }
    message.name = header.nlen > 0 ? std::string_view(body) : std::string_view();
    message.data = {body + cbus_pad4(header.nlen), header.dlen};
    message.body = {body, body_bytes};
    m_begin += kCbusHeaderBytes + body_bytes;
    return Result::kMessage;
}
