// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <string_view>

#include "device/configd/CommitQueue.h"
#include "device/configd/ConfigDatabase.h"

// ConfigReads: the requests that change nothing, from their bytes to those of the reply.
// Borrows: database and queue; they outlive it. What waits in the queue and concerns a read is committed first.
// Blocks:  for the disk then, and only then.
// Errors:  malformed requests get an empty reply. So does, after a log line, what the bus would not carry.
class ConfigReads {
  public:
    ConfigReads(const ConfigDatabase& database, CommitQueue& queue) : m_database(database), m_queue(queue) {}

    [[nodiscard]] std::string read(std::string_view key, std::string_view data) const;
    [[nodiscard]] std::string read_vector(std::string_view prefix, std::string_view data) const;
    [[nodiscard]] std::string read_pattern(std::string_view pattern_text) const;
    [[nodiscard]] std::string stat(std::string_view key) const;

  private:
    [[nodiscard]] const ConfigValue* find(std::string_view key) const;

    const ConfigDatabase& m_database;
    CommitQueue& m_queue;
};
