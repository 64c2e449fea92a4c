#include "device/eventd/StoredList.h"

#include "device/eventd/event_database.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "eventd";

}  // namespace

bool StoredList::bring_up_to_date() {
    if (m_list.events().empty()) {
        return true;
    }
    // Nothing tells of a database that has been started anew, so each time it is asked for the first event.
    const ListPresence presence = event_database_look();
    if (presence == ListPresence::kMissing) {
        mark_all();
    }
    const bool is_current = presence != ListPresence::kNoAnswer && write_marked();
    note_outcome(is_current);
    return is_current;
}

void StoredList::mark_all() {
    const size_t count = m_list.events().size();
    if (m_unwritten.size() < count) {
        logger_function(5, kModule, "the database has lost the list: writing its %zu events again", count);
    }
    for (unsigned n = 0; n < count; ++n) {
        m_unwritten.insert(n);
    }
}

bool StoredList::write_marked() {
    while (!m_unwritten.empty()) {
        const unsigned position = *m_unwritten.begin();
        const int status = event_database_write(position, m_list.events()[position]);
        if (status != 0) {
            return false;
        }
        m_unwritten.erase(position);
    }
    return true;
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
