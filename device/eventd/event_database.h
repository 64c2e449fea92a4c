// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "events/event_wire.h"

// event_database: what the event handler keeps in the configuration database: the list of events, one value per
// position, and the severities that were announced.
// Order:   config_init_cbus comes before anything else.
// Threads: the thread of the configuration client only.
// Blocks:  reads and writes until the database answers, or the bus for it; a deletion not.

// What is at one position of the list. What is taken and no event is a foreign value.
struct StoredPosition {
    bool is_taken = false;
    std::optional<UserEvent> event;
};

// All EventList::kCapacity positions; nothing when the database does not answer.
[[nodiscard]] std::optional<std::vector<StoredPosition>> event_database_read();

// 0, or the status of the database.
[[nodiscard]] int event_database_write(unsigned position, const UserEvent& event);
// Takes every position away.
void event_database_clear();

inline constexpr size_t kMaxEventSeverities = 1000;
// By ev_id, at most kMaxEventSeverities. Empty when nothing that can be read is there; nothing when the database
// does not answer.
using EventSeverities = std::map<uint32_t, uint8_t>;
[[nodiscard]] std::optional<EventSeverities> event_database_read_severities();
// 0, or the status of the database.
[[nodiscard]] int event_database_write_severities(const EventSeverities& severities);
