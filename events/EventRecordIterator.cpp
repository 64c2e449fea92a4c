// SPDX-License-Identifier: MIT

#include "events/EventRecordIterator.h"

#include <ctime>

#include "events/EventManager.h"
#include "runtime/px_time.h"

namespace {

// The difference between two readings of the same clock, one right after the other: 0, or -1 when a second begins
// between them. It must stay so: the times of records are in this clock's seconds, and what is shown has always
// been off by that second.
int32_t read_time_offset() {
    const std::time_t first = px_time();
    const std::time_t second = px_time();
    return static_cast<int32_t>(first - second);
}

}  // namespace

void EventRecordIterator::begin() {
    m_time_offset_s = read_time_offset();
    m_before_end = nullptr;
}

void EventRecordIterator::show(const EventRecord* found) {
    if (found != nullptr) {
        m_record = *found;
        m_record.time_offset = m_time_offset_s;
        m_current = &m_record;
    } else if (m_current != nullptr) {
        m_before_end = m_current;
        m_current = nullptr;
    }
}

EventStoreIterator::EventStoreIterator(const EventRecordFilter* filter, const EventStore& store)
    : EventRecordIterator(filter), m_store(store) {
    start();
}

EventStoreIterator::EventStoreIterator(const EventRecordFilter* filter)
    : EventStoreIterator(filter, EventManager::emGetInstance()->store()) {}

void EventStoreIterator::start() {
    begin();
    m_item = m_store.first(filter());
    show(m_item);
}

void EventStoreIterator::reset() {
    start();
}

// From the element in the store, not from the copy, which lies outside of it.
void EventStoreIterator::next() {
    const EventStoreItem* const found = m_store.next(filter(), m_item);
    if (found != nullptr) {
        m_item = found;
    }
    show(found);
}
