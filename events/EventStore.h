// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "events/EventRecord.h"

class EventRecordFilter;
struct UserEvent;

using EventStoreItem = EventRecord;

// What iterate() calls with every record.
class EventStoreFunc {
  public:
    virtual ~EventStoreFunc() = default;
    virtual void operator()(const EventRecord& record) = 0;
};

// EventStore: the unit's list of events, as far as this process has read and heard of it.
// Owns:    the records, in one array: pointers to them stay valid as long as the store. Records are never removed;
//          what is appended stands at the end, what changes is overwritten in place. Texts are looked up once, when a
//          record is made: they belong to an event's definition, which does not change while the unit runs.
// Threads: the thread of the configuration client only.
// Blocks:  restore() and appends read from the database.
// Errors:  a capacity outside 1 to 9999, no memory for it, and a change that leaves a gap behind the last record stop
//          the process: the list has one writer, on this machine, that only appends.
class EventStore {
  public:
    explicit EventStore(unsigned capacity);
    EventStore(const EventStore&) = delete;
    EventStore& operator=(const EventStore&) = delete;

    // The element at this position of the list is now this. Returns the record when listeners have to hear of it,
    // else null. Until restore() has succeeded a change is only noted. A change at or behind the end of a full store
    // is logged and ignored.
    const EventRecord* change(unsigned index, const UserEvent& event);

    // Reads the list, once at start. A failure is logged; the store then stays as it was and ignores all changes.
    void restore();

    // The next record in this direction that passes the filter, which may be null and then passes everything; null
    // when there is none, or when the item is no record of this store.
    [[nodiscard]] const EventStoreItem* first(const EventRecordFilter* filter) const;
    [[nodiscard]] const EventStoreItem* next(const EventRecordFilter* filter,
                                             const EventStoreItem* item) const;
    [[nodiscard]] const EventStoreItem* last(const EventRecordFilter* filter) const;
    [[nodiscard]] const EventStoreItem* prev(const EventRecordFilter* filter,
                                             const EventStoreItem* item) const;
    void iterate(EventStoreFunc& function) const;

    [[nodiscard]] bool isValidPointer(EventStoreItem const* item) const;
    [[nodiscard]] static unsigned nextIndex(unsigned index) { return index + 1; }
    // That of 0 lies behind every record.
    [[nodiscard]] static unsigned prevIndex(unsigned index) { return index - 1; }

    [[nodiscard]] unsigned count() const { return m_count; }
    [[nodiscard]] bool isRestoring() const { return m_is_restoring; }

  private:
    const EventRecord* append(const UserEvent& event);
    [[nodiscard]] unsigned indexOf(const EventStoreItem* item) const;
    using Step = unsigned (*)(unsigned index);
    [[nodiscard]] const EventStoreItem* search(const EventRecordFilter* filter, unsigned index,
                                               Step step) const;

    unsigned m_capacity;
    std::unique_ptr<EventStoreItem[]> m_items;
    unsigned m_count = 0;
    bool m_is_restoring = true;
    bool m_is_changed = false;  // by any change since it was last cleared
};
