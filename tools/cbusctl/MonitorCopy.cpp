// SPDX-License-Identifier: MIT

#include "tools/cbusctl/MonitorCopy.h"

#include <cstring>

#include "cbus/cbus_wire.h"

namespace {

constexpr std::size_t kEnvelopeBytes = 16;

template <class Number>
Number number_at(std::string_view bytes, std::size_t offset) {
    Number number{};
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

}  // namespace

std::optional<MonitorCopy> monitor_copy_parse(std::string_view bytes) {
    if (bytes.size() < kEnvelopeBytes + kCbusHeaderBytes) {
        return std::nullopt;
    }
    const auto header = number_at<cbus_header_t>(bytes, kEnvelopeBytes);
    const std::string_view body = bytes.substr(kEnvelopeBytes + kCbusHeaderBytes);
    if (cbus_body_bytes(header) != body.size()) {
        return std::nullopt;
    }
    std::string_view name = body.substr(0, header.nlen);
    name = name.substr(0, name.find('\0'));
    return MonitorCopy{number_at<std::uint32_t>(bytes, 0),
                       number_at<std::uint32_t>(bytes, 4),
                       number_at<std::uint64_t>(bytes, 8),
                       header.type,
                       name,
                       body.substr(cbus_pad4(header.nlen), header.dlen),
                       header.seqn};
}

std::optional<std::uint32_t> monitor_copy_lost(const MonitorCopy& copy) {
    if (copy.from != 0 || copy.to != 0 || copy.type != CBUS_SIGNAL || copy.name != "cbus.monitor.lost" ||
        copy.data.size() != sizeof(std::uint32_t)) {
        return std::nullopt;
    }
    return number_at<std::uint32_t>(copy.data, 0);
}
