// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// A copy of a message as a monitor of the bus gets it.
struct MonitorCopy {
    std::uint32_t from = 0;  // ids of clients, 0 for the broker
    std::uint32_t to = 0;
    std::uint64_t time_us = 0;  // since 1970
    std::uint8_t type = 0;      // cbus_type_t
    std::string_view name;      // up to its NUL
    std::string_view data;
    std::uint16_t seqn = 0;  // the sender's count; of a reply that of its request
};

// Points into `bytes`, the data of a "cbus.monitor" signal. Nothing when they are no copy: too short, or not of the
// length that the header inside tells.
[[nodiscard]] std::optional<MonitorCopy> monitor_copy_parse(std::string_view bytes);

// How many copies were lost, when this one tells that.
[[nodiscard]] std::optional<std::uint32_t> monitor_copy_lost(const MonitorCopy& copy);
