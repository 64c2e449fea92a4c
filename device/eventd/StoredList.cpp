#include "device/eventd/StoredList.h"

#include <algorithm>

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "eventd";

}  // namespace

bool StoredList::bring_up_to_date() {
    const auto stored = event_database_read();
    const bool is_current = stored && mend(*stored);
    note_outcome(is_current);
    return is_current;
}

bool StoredList::mend(const std::vector<StoredPosition>& stored) {
    note_losses(stored);
    const std::vector<UserEvent>& events = m_list.events();
    for (unsigned n = 0; n < stored.size(); ++n) {
        const bool is_held = n < events.size();
        if (stored[n].is_taken && (!is_held || !stored[n].event)) {
            logger_function(4, kModule, "a foreign value at position %u of the list is taken away", n);
            event_database_delete(n);
        }
        if (!is_held) {
            continue;
        }
        if (stored[n].event != events[n] && event_database_write(n, events[n]) != 0) {
            return false;
        }
        note_written(n);
    }
    return true;
}

void StoredList::note_written(unsigned position) {
    m_written.resize(std::max<size_t>(m_written.size(), position + 1));
    m_written[position] = m_list.events()[position];
}

void StoredList::note_losses(const std::vector<StoredPosition>& stored) const {
    size_t lost = 0;
    for (size_t n = 0; n < m_written.size(); ++n) {
        lost += static_cast<size_t>(stored[n].event != m_written[n]);
    }
    if (lost > 0) {
        logger_function(5, kModule, "the database has lost %zu events of the list: writing them again", lost);
    }
}

// Once per outage: the next tries follow each other within a second.
void StoredList::note_outcome(bool is_current) {
    if (is_current != m_is_current) {
        m_is_current = is_current;
        logger_function(is_current ? 5 : 4, kModule, "%s",
                        is_current ? "the list is in the database again"
                                   : "the database does not take the list; trying again");
    }
}
