// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "src/base/OncePerMinute.h"

// ConnectionLimit: how many connections a listener keeps open at a time, and what the log hears of the others.
// Borrows: the name of the module, which stands in front of its log lines.
// Threads: loop thread only.
class ConnectionLimit {
  public:
    // One text for each open connection, the same for those of one peer.
    using Peers = std::function<std::vector<std::string>()>;

    ConnectionLimit(const char* module, std::size_t max) : m_module(module), m_max(max) {}

    [[nodiscard]] std::size_t max() const { return m_max; }

    // Notes that a connection is closed because of the limit: one line a minute, with the peers that have most of the
    // open ones. `peers` runs when there is a line to write.
    void refused(const Peers& peers);

  private:
    const char* m_module;
    std::size_t m_max;
    OncePerMinute m_line;
};

// The three texts that occur most often, each with its number: "10.0.0.1 (200), 10.0.0.2 (12)". In the order of their
// numbers, and of the texts where these are the same.
[[nodiscard]] std::string busiest_text(const std::vector<std::string>& texts);
