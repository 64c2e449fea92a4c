// SPDX-License-Identifier: MIT

#include "device/eventd/StoredList.h"

#include <algorithm>

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "eventd";

}  // namespace

void StoredList::bring_up_to_date() {
    const auto stored = event_database_read();
    note_outcome(stored && write_changes(*stored));
}

bool StoredList::write_changes(const std::vector<StoredPosition>& stored) {
    if (is_damaged(stored)) {
        logger_function(4, kModule,
                        "the list in the database is not what was written: writing all %zu events again",
                        m_list.events().size());
        event_database_clear();
        m_written.clear();
    }
    const std::vector<UserEvent>& events = m_list.events();
    for (unsigned n = 0; n < events.size(); ++n) {
        const bool is_written = n < m_written.size() && m_written[n] == events[n];
        if (!is_written && event_database_write(n, events[n]) != 0) {
            return false;
        }
        m_written.resize(std::max<size_t>(m_written.size(), n + 1));
        m_written[n] = events[n];
    }
    return true;
}

bool StoredList::is_damaged(const std::vector<StoredPosition>& stored) const {
    for (size_t n = 0; n < stored.size(); ++n) {
        const bool is_right = n < m_written.size() ? stored[n].event == m_written[n] : !stored[n].is_taken;
        if (!is_right) {
            return true;
        }
    }
    return false;
}

// Once per outage: the next try comes with the next event or look at the database.
void StoredList::note_outcome(bool is_current) {
    if (is_current != m_is_current) {
        m_is_current = is_current;
        logger_function(is_current ? 5 : 4, kModule, "%s",
                        is_current ? "the list is in the database again"
                                   : "the database does not take the list; trying again");
    }
}
