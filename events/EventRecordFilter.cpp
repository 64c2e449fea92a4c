// SPDX-License-Identifier: MIT

#include "events/EventRecordFilter.h"

#include <utility>

#include "events/event_wire.h"
#include "runtime/px_panic.h"
#include "runtime/px_time.h"

StateSeverityFilter::StateSeverityFilter(char kind, int value)
    : m_checks_state(kind == 'A'), m_checks_severity(kind == 'B'), m_state(value), m_severity(value) {
    px_assert(m_checks_state || m_checks_severity, "event_store");
}

StateSeverityFilter::StateSeverityFilter(int state, int severity, bool invert)
    : m_checks_state(true), m_checks_severity(true), m_state(state), m_severity(severity), m_invert(invert) {}

bool StateSeverityFilter::test(EventRecord const& record) const {
    if (m_checks_state && !std::cmp_equal(record.state, m_state)) {
        return false;
    }
    if (!m_checks_severity) {
        return true;
    }
    return std::cmp_equal(record.severity, m_severity) != m_invert;
}

bool ActiveEventsFilter::test(EventRecord const& record) const {
    return record.state == kEventStateOn && record.severity != kEventSeverityInfo;
}

bool NotificationsFilter::test(EventRecord const& record) const {
    if (record.state != kEventStateOff && record.state != kEventStateNone) {
        return false;
    }
    // Signed and wide: a clock that is not set yet minus the span is negative, and on_time is right beyond 2038.
    const int64_t since = int64_t{px_time()} - m_span_s;
    return record.severity != kEventSeverityInfo && since <= int64_t{record.on_time} + record.time_offset;
}
