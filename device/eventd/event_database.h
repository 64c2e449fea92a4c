#pragma once

#include <optional>
#include <vector>

#include "events/event_wire.h"

// event_database: the list of events as the configuration database holds it, one value per position.
// Order:   config_init_cbus comes before anything else.
// Threads: the thread of the configuration client only.
// Blocks:  each call until the database answers, or the bus for it.

struct StoredEvents {
    std::vector<UserEvent> events;  // from position 0 on, at most EventList::kCapacity
    bool is_whole;                  // nothing but these is there: no foreign value, none behind a gap
};

// Nothing when the database does not answer.
[[nodiscard]] std::optional<StoredEvents> event_database_read();

// Whether the database holds a list at all. It is in memory there: a database that has been started anew has none.
enum class ListPresence { kThere, kMissing, kNoAnswer };
[[nodiscard]] ListPresence event_database_look();

// 0, or the status of the database.
[[nodiscard]] int event_database_write(unsigned position, const UserEvent& event);

// Takes every value of the list away.
void event_database_delete();
