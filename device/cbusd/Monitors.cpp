// SPDX-License-Identifier: MIT

#include "device/cbusd/Monitors.h"

#include <chrono>
#include <string>
#include <string_view>
#include <utility>

namespace {

// What stands before the copied message, in host byte order.
struct CopyRecord {
    uint32_t from;
    uint32_t to;
    uint64_t time_us;  // since 1970
};
static_assert(sizeof(CopyRecord) == 16, "the record has no gaps on the wire");

struct Copy {
    cbus_header_t header;
    std::string body;
};

void append_name(std::string& bytes, std::string_view name) {
    bytes.append(name);
    bytes.append(cbus_pad4(name.size() + 1) - name.size(), '\0');
}

uint16_t name_bytes(std::string_view name) {
    return static_cast<uint16_t>(name.size() + 1);
}

Copy make_copy(ClientId from, ClientId to, const cbus_header_t& header, std::span<const char> body) {
    constexpr std::string_view kName = "cbus.monitor";
    using std::chrono::duration_cast, std::chrono::microseconds, std::chrono::system_clock;
    const auto time_us = duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
    const CopyRecord record{from, to, static_cast<uint64_t>(time_us)};
    const size_t data_bytes = sizeof record + kCbusHeaderBytes + body.size();
    Copy copy{{CBUS_SIGNAL, 0, 0, 0, name_bytes(kName), static_cast<uint32_t>(data_bytes)}, {}};
    copy.body.reserve(cbus_body_bytes(copy.header));
    append_name(copy.body, kName);
    copy.body.append(reinterpret_cast<const char*>(&record), sizeof record);
    copy.body.append(reinterpret_cast<const char*>(&header), kCbusHeaderBytes);
    copy.body.append(body.data(), body.size());
    return copy;
}

}  // namespace

void Monitors::copy(ClientId from, ClientId to, const cbus_header_t& header, std::span<const char> body) {
    if (m_monitors.empty()) {
        return;
    }
    const Copy copy = make_copy(from, to, header, body);
    for (auto& [id, monitor] : m_monitors) {
        const size_t waiting = monitor.client->waiting_bytes();
        // The largest messages fit only into an empty queue.
        const bool is_behind =
            waiting > 0 && waiting + kCbusHeaderBytes + copy.body.size() > m_limits.waiting_bytes;
        if (monitor.lost == 0 && !is_behind) {
            monitor.client->send(copy.header, copy.body);
        } else if (monitor.lost < UINT32_MAX) {
            ++monitor.lost;
        }
    }
}

void Monitors::note_taken(ClientId client) {
    const auto found = m_monitors.find(client);
    if (found != m_monitors.end() && found->second.lost > 0 &&
        found->second.client->waiting_bytes() < m_limits.caught_up_bytes) {
        tell_lost(found->second);
    }
}

void Monitors::tell_lost(Monitor& monitor) const {
    constexpr std::string_view kName = "cbus.monitor.lost";
    const uint32_t lost = std::exchange(monitor.lost, 0);
    const cbus_header_t header{CBUS_SIGNAL, 0, 0, 0, name_bytes(kName), sizeof lost};
    std::string body;
    append_name(body, kName);
    body.append(reinterpret_cast<const char*>(&lost), sizeof lost);
    const Copy copy = make_copy(kBrokerId, kBrokerId, header, body);
    monitor.client->send(copy.header, copy.body);
}
