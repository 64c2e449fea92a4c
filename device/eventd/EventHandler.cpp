#include "device/eventd/EventHandler.h"

#include <algorithm>
#include <utility>

#include "device/eventd/event_database.h"
#include "device/eventd/event_signals.h"
#include "runtime/logging.h"

namespace {

constexpr const char* kModule = "eventd";

}  // namespace

bool EventHandler::restore() {
    std::optional<StoredEvents> stored = event_database_read();
    if (!stored) {
        return false;
    }
    m_list = EventList(std::move(stored->events));
    if (!stored->is_whole) {
        // Its readers must not count on from positions that are not ours. The events in front of the foreign value are
        // missing after this, and so written again.
        logger_function(4, kModule, "foreign values in the list, only its first %zu events stay",
                        m_list.events().size());
        event_database_delete();
    }
    learn_severities();
    m_is_restored = true;
    for (const Waiting& signal : std::exchange(m_waiting, {})) {
        take(signal);
    }
    m_stored.bring_up_to_date();
    return true;
}

// Definitions are sent once, when their program starts: what this process has missed or forgotten since is in the
// events that it kept.
void EventHandler::learn_severities() {
    std::map<uint32_t, uint8_t> kept;
    for (const UserEvent& event : m_list.events()) {
        if (event.severity <= kEventSeverityFatal) {
            uint8_t& severity = kept[event.ev_id];
            severity = std::max(severity, event.severity);
        }
    }
    m_severities.merge(kept);
}

void EventHandler::handle_signal(std::string_view name, std::string_view data, uint32_t now_s) {
    bool is_understood = false;
    if (name == kRegisterEventDefinitionSignal) {
        is_understood = register_definitions(data);
    } else if (name == kForwardEventReportSignal) {
        is_understood = take_report(data, now_s);
    } else if (name == kClearEventsSignal) {
        is_understood = take_clear(data, now_s);
    }
    if (!is_understood) {
        logger_function(4, kModule, "signal '%.*s' of %zu bytes had no effect", static_cast<int>(name.size()),
                        name.data(), data.size());
    }
}

bool EventHandler::register_definitions(std::string_view data) {
    const auto rows = event_signal_definitions(data);
    if (!rows) {
        return false;
    }
    for (const EventDefinitionRow& row : *rows) {
        if (m_severities.size() >= kMaxDefinitions && !m_severities.contains(row.ev_id)) {
            logger_function(4, kModule, "event %u is one definition too many", row.ev_id);
            break;
        }
        m_severities[row.ev_id] = static_cast<uint8_t>(row.severity);
    }
    return true;
}

bool EventHandler::take_report(std::string_view data, uint32_t now_s) {
    const auto report = event_signal_report(data);
    if (report) {
        take({*report, now_s});
    }
    return report.has_value();
}

bool EventHandler::take_clear(std::string_view data, uint32_t now_s) {
    const auto ev_id = event_signal_clear(data);
    if (ev_id) {
        take({Clear{*ev_id}, now_s});
    }
    return ev_id.has_value();
}

void EventHandler::take(const Waiting& signal) {
    if (m_is_restored) {
        std::visit([&](const auto& what) { apply(what, signal.when_s); }, signal.what);
    } else if (m_waiting.size() < kMaxWaiting) {
        m_waiting.push_back(signal);
    } else {
        logger_function(4, kModule, "too many signals before the database is there: one is dropped");
    }
}

void EventHandler::apply(const EventReport& report, uint32_t now_s) {
    const auto defined = m_severities.find(report.ev_id);
    const uint8_t severity =
        defined != m_severities.end() ? defined->second : static_cast<uint8_t>(kEventSeverityInfo);
    if (const auto changed = m_list.report(report, severity, now_s)) {
        m_stored.mark(*changed);
        m_stored.bring_up_to_date();
    }
}

void EventHandler::apply(const Clear& clear, uint32_t now_s) {
    const std::vector<unsigned> changed = m_list.end(clear.ev_id, now_s);
    if (!changed.empty()) {
        for (const unsigned position : changed) {
            m_stored.mark(position);
        }
        m_stored.bring_up_to_date();
    }
}
