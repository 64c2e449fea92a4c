#pragma once

#include <vector>

#include "device/eventd/EventList.h"
#include "device/eventd/event_database.h"

// StoredList: keeps the database's copy of the list equal to the list, whatever has become of it: lost with a database
// that was started anew, overwritten, with a hole in it. One write per event and in the order of the positions: the
// database announces the keys of one write in the order of their names, where 10 comes before 9, but readers of the
// list append in the order of the positions, and stop their process at an event behind a gap.
// Borrows: the list; it outlives this object.
// Threads: the thread of the configuration client only.
class StoredList {
  public:
    explicit StoredList(const EventList& list) : m_list(list) {}
    StoredList(const StoredList&) = delete;
    StoredList& operator=(const StoredList&) = delete;
    ~StoredList() = default;

    // Blocks for a read of the whole list and a write for each position that is not as it should be. False when the
    // database did not take everything; the next call goes on there.
    bool bring_up_to_date();

  private:
    [[nodiscard]] bool mend(const std::vector<StoredPosition>& stored);
    void note_written(unsigned position);
    void note_losses(const std::vector<StoredPosition>& stored) const;
    void note_outcome(bool is_current);

    const EventList& m_list;
    std::vector<UserEvent> m_written;  // what the database has taken, by position
    bool m_is_current = true;          // as the last call found it
};
