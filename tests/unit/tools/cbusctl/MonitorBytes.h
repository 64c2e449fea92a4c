// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include "tests/support/BusPeer.h"

// The bytes of a number in host order.
template <class Number>
std::string NumberBytes(Number number) {
    return {reinterpret_cast<const char*>(&number), sizeof number};
}

// The data of a "cbus.monitor" signal.
inline std::string MonitorBytes(uint32_t from, uint32_t to, uint64_t time_us, const WireMessage& message) {
    return NumberBytes(from) + NumberBytes(to) + NumberBytes(time_us) + Bytes(message);
}

// An entry as the configuration database packs it.
inline std::string EntryBytes(uint8_t type, int8_t status, const std::string& key, const std::string& data) {
    const std::string name = Padded(key + '\0');
    return std::string{static_cast<char>(type), static_cast<char>(status), '\0', '\0'} +
           NumberBytes(static_cast<uint32_t>(name.size())) + NumberBytes(static_cast<uint32_t>(data.size())) +
           name + Padded(data);
}
