// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "device/configd/ConfigDatabase.h"
#include "device/configd/KeyPattern.h"
#include "device/configd/PendingWrite.h"

// CommitQueue: writes that nobody objects to, on their way into one common transaction: the disk is waited for once for
// all that came together. None is visible, announced or answered before it is committed.
// Owns:      the waiting writes. What still waits when it is destroyed is lost: commit() first.
// Borrows:   the database; it outlives this object.
// Callbacks: announce (before the write's own answer) and the answers, from commit() and settle(); they do not come
//            back into this object.
// Blocks:    commit() and settle() until the disk has what was written.
// Errors:    what cannot be stored together is tried write by write, so that one that the disk has no room for takes
//            no other with it. All elements of a write that cannot be stored get the status CONFIG_REFUSED.
// Units:     times in milliseconds of px_time_ms().
class CommitQueue {
  public:
    using Announce = std::function<void(const ConfigDatabase::Changes&)>;

    // While more messages wait to be read, writes are gathered for at most this long.
    static constexpr uint32_t kMaxDelayMs = 50;

    CommitQueue(ConfigDatabase& database, Announce announce)
        : m_database(database), m_announce(std::move(announce)) {}

    void add(PendingWrite write, uint32_t now_ms);
    [[nodiscard]] bool is_empty() const { return m_writes.empty(); }
    // The oldest has waited for kMaxDelayMs.
    [[nodiscard]] bool is_due(uint32_t now_ms) const;
    void commit();

    // Before a read: commits if any waiting write concerns what is read, so that everybody reads what he has written.
    void settle(std::string_view key);
    void settle(const KeyPattern& pattern);

  private:
    [[nodiscard]] bool store(std::vector<PendingWrite>& writes);

    ConfigDatabase& m_database;
    Announce m_announce;
    std::vector<PendingWrite> m_writes;
    std::set<std::string, std::less<>> m_keys;  // of all of them
    uint32_t m_oldest_ms = 0;
};
