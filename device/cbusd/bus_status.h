// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "device/cbusd/NameTable.h"
#include "device/cbusd/client_id.h"

// bus_status: what the broker tells about itself in reply to the request "cbus.status".

struct BusCounters {
    uint64_t messages = 0;  // received from clients: signals, requests and replies
    uint64_t signals = 0;
    uint64_t requests = 0;
    uint64_t replies = 0;
    uint64_t empty_replies = 0;    // by the broker for a provider
    uint64_t refused_clients = 0;  // not let in
    uint64_t lost_clients = 0;     // disconnected by the broker
};

struct ClientStatus {
    ClientId id;
    pid_t pid;
    int64_t uid;  // -1 when unknown
    std::string program;
    std::vector<std::string_view> filters;
    std::vector<std::string_view> provides;
    size_t queued_bytes;
    uint64_t messages_in;
    uint64_t messages_out;
};

struct BusStatus {
    uint64_t uptime_s;
    std::vector<ClientStatus> clients;
    std::vector<NameTable::Held> names;
    BusCounters counters;
};

// Of texts and names together; a full broker knows far more than fits into a message.
constexpr size_t kMaxStatusTextBytes = size_t{1} << 20;

// JSON. Texts are cut to printable ASCII; where the limit ends a list, "..." stands as its last entry (in "names" one
// of provider 0). Empty without memory.
[[nodiscard]] std::string bus_status_text(const BusStatus& status);
