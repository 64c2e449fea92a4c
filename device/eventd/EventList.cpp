// SPDX-License-Identifier: MIT

#include "device/eventd/EventList.h"

#include <algorithm>
#include <utility>

#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "eventd";

bool is_active(const UserEvent& event) {
    return event.state == kEventStateOn;
}

// The event after the report. What has not changed keeps its times.
UserEvent updated(const UserEvent& event, const EventReport& report, uint8_t severity, uint32_t now_s) {
    UserEvent after = event;
    after.severity = severity;
    after.state = static_cast<uint8_t>(report.state);
    after.info = report.info;
    // A notification is over as soon as it is made: each one is a new occurrence, which the count tells from the one
    // before, also within a second.
    const bool is_notification = report.state == kEventStateNone;
    after.extra += is_notification ? 1 : 0;
    const bool goes_on = is_active(after) && !is_active(event);
    if (is_notification || goes_on) {
        after.on_time = now_s;
    }
    if (after != event) {
        after.ev_time = now_s;
    }
    return after;
}

}  // namespace

EventList::EventList(std::vector<UserEvent> events) : m_events(std::move(events)) {
    m_events.resize(std::min(m_events.size(), kCapacity));
}

std::optional<unsigned> EventList::report(const EventReport& report, uint8_t severity, uint32_t now_s) {
    if (const auto held = find(report)) {
        UserEvent& event = m_events[*held];
        const UserEvent before = std::exchange(event, updated(event, report, severity, now_s));
        return event != before ? held : std::nullopt;
    }
    if (report.state == kEventStateOff) {
        return std::nullopt;
    }
    const auto place = place_for_new();
    if (!place) {
        logger_function(4, kModule, "no place for event %u: all %zu are active", report.ev_id,
                        m_events.size());
        return std::nullopt;
    }
    const UserEvent fresh{.ev_id = report.ev_id, .source = report.source, .subsource = report.subsource};
    m_events.resize(std::max<size_t>(m_events.size(), *place + 1));
    m_events[*place] = updated(fresh, report, severity, now_s);
    return place;
}

std::vector<unsigned> EventList::end(uint32_t ev_id, uint32_t now_s) {
    std::vector<unsigned> changed;
    for (unsigned n = 0; n < m_events.size(); ++n) {
        UserEvent& event = m_events[n];
        if (is_active(event) && (ev_id == 0 || event.ev_id == ev_id)) {
            event.state = static_cast<uint8_t>(kEventStateOff);
            event.ev_time = now_s;
            changed.push_back(n);
        }
    }
    return changed;
}

std::optional<unsigned> EventList::find(const EventReport& report) const {
    const auto found = std::find_if(m_events.begin(), m_events.end(), [&report](const UserEvent& event) {
        return event.ev_id == report.ev_id && event.source == report.source &&
               event.subsource == report.subsource;
    });
    return found != m_events.end() ? std::optional(static_cast<unsigned>(found - m_events.begin()))
                                   : std::nullopt;
}

std::optional<unsigned> EventList::place_for_new() const {
    if (m_events.size() < kCapacity) {
        return static_cast<unsigned>(m_events.size());
    }
    std::optional<unsigned> oldest;
    for (unsigned n = 0; n < m_events.size(); ++n) {
        if (!is_active(m_events[n]) && (!oldest || m_events[n].ev_time < m_events[*oldest].ev_time)) {
            oldest = n;
        }
    }
    return oldest;
}
