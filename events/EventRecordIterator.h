// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "events/EventRecord.h"
#include "events/EventStore.h"

class EventRecordFilter;

// EventRecordIterator: a walk over the records that pass a filter, one copy at a time.
// Owns:    the copy that current() points to; the next step overwrites it.
// Borrows: the filter; null passes everything.
// Units:   each copy carries a time offset, in seconds, that whoever shows its times adds to them.
class EventRecordIterator {
  public:
    EventRecordIterator(const EventRecordIterator&) = delete;
    EventRecordIterator& operator=(const EventRecordIterator&) = delete;
    virtual ~EventRecordIterator() = default;

    virtual void next() = 0;
    virtual void reset() = 0;

    // Null at the end.
    [[nodiscard]] const EventRecord* current() const { return m_current; }
    // What current() was before the end was reached; null until then.
    [[nodiscard]] const EventRecord* beforeEnd() const { return m_before_end; }

  protected:
    explicit EventRecordIterator(const EventRecordFilter* filter) : m_filter(filter) {}

    [[nodiscard]] const EventRecordFilter* filter() const { return m_filter; }
    // Begins a walk: takes the time offset anew.
    void begin();
    // Copies the record, or ends the walk at null.
    void show(const EventRecord* found);

  private:
    const EventRecordFilter* m_filter;
    const EventRecord* m_current = nullptr;
    const EventRecord* m_before_end = nullptr;
    EventRecord m_record;
    int32_t m_time_offset_s = 0;
};

// EventStoreIterator: the same over an event store, from its first record to its last.
// Borrows: the store, which outlives the iterator. It may grow meanwhile: next() finds what was appended, at the end
//          as well.
class EventStoreIterator : public EventRecordIterator {
  public:
    EventStoreIterator(const EventRecordFilter* filter, const EventStore& store);
    // Walks the store of the one EventManager.
    explicit EventStoreIterator(const EventRecordFilter* filter);

    void next() override;
    void reset() override;

  private:
    void start();

    const EventStore& m_store;
    const EventStoreItem* m_item = nullptr;  // found last; null before anything was
};
