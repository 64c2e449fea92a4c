// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the broker tells of itself (the reply to "cbus.status").
struct BusStatus {
    struct Client {
        std::uint64_t id = 0;
        std::uint64_t pid = 0;
        std::int64_t uid = -1;  // -1 when it is not known, as over tcp
        std::string program;
        std::vector<std::string> filters;
        std::uint64_t queued_bytes = 0;
        std::uint64_t messages_in = 0;
        std::uint64_t messages_out = 0;
    };
    struct Name {
        std::string name;
        std::uint64_t provider = 0;  // the client's id
        std::vector<std::uint64_t> waiting;
    };

    std::uint64_t uptime_s = 0;
    std::vector<Client> clients;
    std::vector<Name> names;
    std::vector<std::pair<std::string, std::uint64_t>> counters;

    // "configd/2"; "bus" for 0, the number alone for a client that is not known. Not fit to print as it is.
    [[nodiscard]] std::string clientText(std::uint64_t id) const;
    // Whether a request with this name has a provider.
    [[nodiscard]] bool serves(std::string_view name) const;
};

// Nothing for what is no status. Members that are not there, or of another kind, are 0 or empty.
[[nodiscard]] std::optional<BusStatus> bus_status_parse(std::string_view data);
