// SPDX-License-Identifier: MIT

#pragma once

#include <utility>
#include <vector>

#include "device/eventd/EventList.h"
#include "device/eventd/event_database.h"

// StoredList: keeps the database's copy of the list equal to the list, whatever has become of it: lost with a database
// that was started anew, overwritten, with a hole in it. A damaged one is written again as a whole: a reader that
// started meanwhile has read it up to the damage only, hears of what is written, and stops its process at an event
// behind a gap. For the same reason there is one write per event, in the order of the positions: the database announces
// the keys of one write in the order of their names, where 10 comes before 9.
// Borrows: the list; it outlives this object.
// Threads: the thread of the configuration client only.
class StoredList {
  public:
    explicit StoredList(const EventList& list) : m_list(list) {}
    StoredList(const StoredList&) = delete;
    StoredList& operator=(const StoredList&) = delete;
    ~StoredList() = default;

    // What the list has been made of is in the database already.
    void take_as_written(std::vector<UserEvent> events) { m_written = std::move(events); }

    // Blocks for a read of the whole list and a write for each event that is not there. When the database does not take
    // everything, the next call goes on there.
    void bring_up_to_date();

  private:
    [[nodiscard]] bool write_changes(const std::vector<StoredPosition>& stored);
    [[nodiscard]] bool is_damaged(const std::vector<StoredPosition>& stored) const;
    void note_outcome(bool is_current);

    const EventList& m_list;
    std::vector<UserEvent> m_written;  // what the database holds, by position
    bool m_is_current = true;          // as the last call found it
};
