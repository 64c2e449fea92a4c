// SPDX-License-Identifier: MIT

#include "events/event_counts.h"

#include "events/EventRecordFilter.h"
#include "events/EventRecordIterator.h"
#include "events/event_wire.h"

unsigned countStoreEvents(int state, int severity, bool invert) {
    const StateSeverityFilter filter(state, severity, invert);
    unsigned count = 0;
    for (EventStoreIterator event(&filter); event.current() != nullptr; event.next()) {
        ++count;
    }
    return count;
}

unsigned numberActiveNonInfoEvents() {
    return countStoreEvents(kEventStateOn, kEventSeverityInfo, true);
}

unsigned numberActiveErrorEvents() {
    return countStoreEvents(kEventStateOn, kEventSeverityError, false);
}
