// SPDX-License-Identifier: MIT

#pragma once

struct UserEvent;
struct config_data_t;

// EventDb: the unit's events in the configuration database: their list, and their texts by event identifier.
// Threads: the thread of the configuration client only.
// Blocks:  reads wait for the database.
// Errors:  every failure is logged; the results tell of it where one is needed.
namespace EventDb {

// From now on changes of the list go to the EventManager, which must exist as long as they do.
void init();
// No more changes.
void stop();

// The first `count` events of the list, at most up to the first that cannot be read. Returns their number, or -1 when
// the database does not answer or there is no memory. An event of another length, version or magic makes the result
// what the vector read itself returned, not the number of events in front of it.
[[nodiscard]] int readEventArr(UserEvent* out, unsigned count);

// For config_change_register. Keys without a position and values that are no event are passed over.
void changeEventCallback(unsigned count, const config_data_t* entries, void* unused);

// Puts the event into the manager's store, and tells its listener when the store says so.
void changeEvent(unsigned index, const UserEvent& event);

// Attributes are "utxt", the text for users, and "stxt", the short one; a name of more than five characters stops the
// process. A null text is stored as none.
void writeTextAttr(const char* attr, unsigned id, const char* text);
// 0, or the database's status. The text is cut to the buffer, which is untouched on failure.
[[nodiscard]] int readTextAttr(const char* attr, int id, char* buf, unsigned size);

}  // namespace EventDb
