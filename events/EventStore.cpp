// SPDX-License-Identifier: MIT

#include "events/EventStore.h"

#include <functional>
#include <new>
#include <string>

#include "events/EventDb.h"
#include "events/EventRecordFilter.h"
#include "events/event_wire.h"
#include "runtime/px_panic.h"
#include "runtime/px_slog.h"

namespace {

constexpr const char* kModule = "event_store";
constexpr unsigned kMaxCapacity = 9999;
constexpr unsigned kTextBytes = 80;
constexpr unsigned kShortTextBytes = 40;

// Null when the database has none.
template <unsigned Bytes>
EventRecord::Text read_text(const char* attribute, uint32_t ev_id) {
    char buffer[Bytes] = {};
    if (EventDb::readTextAttr(attribute, static_cast<int>(ev_id), buffer, Bytes) != 0) {
        return nullptr;
    }
    return std::make_shared<const std::string>(buffer);
}

// Everything but the texts and what tells where the record came from.
void take_values(EventRecord& record, const UserEvent& event) {
    record.ev_id = event.ev_id;
    record.severity = event.severity;
    record.source = event.source;
    record.subsource = event.subsource;
    record.info = event.info;
    record.state = event.state;
    record.extra = event.extra;
    record.on_time = event.on_time;
    record.ev_time = event.ev_time;
}

EventRecord make_record(const UserEvent& event) {
    EventRecord record;
    take_values(record, event);
    record.creation_id = event.ev_id;
    if (const auto text = read_text<kTextBytes>("utxt", event.ev_id)) {
        record.text = text;
        record.text_id = event.ev_id;
        record.has_text = true;
    }
    record.short_text = read_text<kShortTextBytes>("stxt", event.ev_id);
    record.has_short_text = record.short_text != nullptr;
    return record;
}

// A notification is news each time; anything else when it begins, ends or becomes another event.
const EventRecord* update(EventRecord& record, const UserEvent& event) {
    const bool is_significant =
        record.state != event.state || event.state == kEventStateNone || record.ev_id != event.ev_id;
    take_values(record, event);
    return is_significant ? &record : nullptr;
}

}  // namespace

EventStore::EventStore(unsigned capacity) : m_capacity(capacity) {
    px_assert(capacity >= 1 && capacity <= kMaxCapacity, kModule);
    m_items.reset(new (std::nothrow) EventStoreItem[capacity]);
    px_assert(m_items != nullptr, kModule);
}

const EventRecord* EventStore::change(unsigned index, const UserEvent& event) {
    m_is_changed = true;
    if (m_is_restoring) {
        return nullptr;
    }
    if (index < m_count) {
        return update(m_items[index], event);
    }
    // Before the check for a gap: with the list beyond its capacity every later element lies behind one.
    if (m_count == m_capacity) {
        px_slog(3, "%s: event store is full (%u), event %u ignored\n", "change", m_capacity, index);
        return nullptr;
    }
    px_assert(index == m_count, kModule);
    return append(event);
}

const EventRecord* EventStore::append(const UserEvent& event) {
    EventRecord& record = m_items[m_count];
    record = make_record(event);
    ++m_count;
    return &record;
}

void EventStore::restore() {
    const std::unique_ptr<UserEvent[]> events(new (std::nothrow) UserEvent[m_capacity]);
    if (events == nullptr) {
        px_slog(3, "%s malloc failed\n", "restore");
        return;
    }
    // A change heard of while the read waits makes it stale, hence the repetition. Today's client delivers changes only
    // afterwards, which is as good: those older than the read repeat what it holds and end at the same values, newer
    // ones find their place behind it.
    int result = 0;
    do {
        m_is_changed = false;
        result = EventDb::readEventArr(events.get(), m_capacity);
        if (result < 0) {
            px_slog(3, "%s read failed\n", "restore");
            return;
        }
    } while (m_is_changed);

    m_count = static_cast<unsigned>(result);
    if (m_count > m_capacity) {
        px_slog(3, "%s illegal event log size\n", "restore");
        m_count = m_capacity;
    }
    for (unsigned i = 0; i < m_count; ++i) {
        m_items[i] = make_record(events[i]);
    }
    m_is_restoring = false;
}

const EventStoreItem* EventStore::search(const EventRecordFilter* filter, unsigned index, Step step) const {
    // Both directions end behind the last record: the index before 0 wraps there.
    for (; index < m_count; index = step(index)) {
        if (filter == nullptr || filter->test(m_items[index])) {
            return &m_items[index];
        }
    }
    return nullptr;
}

const EventStoreItem* EventStore::first(const EventRecordFilter* filter) const {
    return search(filter, 0, nextIndex);
}

const EventStoreItem* EventStore::next(const EventRecordFilter* filter, const EventStoreItem* item) const {
    return isValidPointer(item) ? search(filter, nextIndex(indexOf(item)), nextIndex) : nullptr;
}

const EventStoreItem* EventStore::last(const EventRecordFilter* filter) const {
    return search(filter, prevIndex(m_count), prevIndex);
}

const EventStoreItem* EventStore::prev(const EventRecordFilter* filter, const EventStoreItem* item) const {
    return isValidPointer(item) ? search(filter, prevIndex(indexOf(item)), prevIndex) : nullptr;
}

void EventStore::iterate(EventStoreFunc& function) const {
    for (unsigned i = 0; i < m_count; ++i) {
        function(m_items[i]);
    }
}

bool EventStore::isValidPointer(EventStoreItem const* item) const {
    const std::less<const EventStoreItem*> is_before;  // also orders pointers into different arrays
    return !is_before(item, m_items.get()) && is_before(item, m_items.get() + m_count);
}

unsigned EventStore::indexOf(const EventStoreItem* item) const {
    return static_cast<unsigned>(item - m_items.get());
}
