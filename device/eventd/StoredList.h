#pragma once

#include <set>

#include "device/eventd/EventList.h"

// StoredList: keeps the database's copy of the list equal to the list. Positions wait here while the database cannot
// take them; a database that has come back without the list gets all of it again, from position 0 on, before anything
// else. One write per event: the database announces the keys of one write in the order of their names, where 10 comes
// before 9, but readers of the list append in the order of the positions.
// Borrows: the list; it outlives this object.
// Threads: the thread of the configuration client only.
class StoredList {
  public:
    explicit StoredList(const EventList& list) : m_list(list) {}
    StoredList(const StoredList&) = delete;
    StoredList& operator=(const StoredList&) = delete;
    ~StoredList() = default;

    // The event at this position has changed.
    void mark(unsigned position) { m_unwritten.insert(position); }

    // Blocks for a look at the database (none for an empty list) and a write for each marked position. False when the
    // database did not take everything; the next call goes on there.
    bool bring_up_to_date();

  private:
    void mark_all();
    [[nodiscard]] bool write_marked();
    void note_outcome(bool is_current);

    const EventList& m_list;
    std::set<unsigned> m_unwritten;
    bool m_is_current = true;  // as the last call found it
};
