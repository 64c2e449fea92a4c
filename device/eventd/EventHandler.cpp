// SPDX-License-Identifier: MIT

#include "device/eventd/EventHandler.h"

#include <utility>

#include "device/eventd/event_database.h"
#include "device/eventd/event_signals.h"
#include "runtime/logging.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "eventd";

}  // namespace

bool EventHandler::restore() {
    const auto stored = event_database_read();
    const auto severities = event_database_read_severities();
    if (!stored || !severities) {
        return false;
    }
    std::vector<UserEvent> events;
    while (events.size() < stored->size() && (*stored)[events.size()].event) {
        events.push_back(*(*stored)[events.size()].event);
    }
    m_stored.take_as_written(events);
    m_list = EventList(std::move(events));
    // What was announced meanwhile counts for more.
    for (const auto& [ev_id, severity] : *severities) {
        if (m_severities.size() < kMaxDefinitions) {
            m_severities.emplace(ev_id, severity);
        }
    }
    m_is_restored = true;
    for (const Waiting& signal : std::exchange(m_waiting, {})) {
        take(signal);
    }
    check_database();
    return true;
}

// Definitions are sent once, when their program starts: a handler that starts after that finds them in the database.
void EventHandler::check_database() {
    m_stored.bring_up_to_date();
    const auto stored = event_database_read_severities();
    if (stored && *stored != m_severities) {
        static_cast<void>(event_database_write_severities(m_severities));
    }
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
        logger_function(4, kModule, "signal '%s' of %zu bytes had no effect", text_for_log(name).c_str(),
                        data.size());
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
    if (m_is_restored) {
        check_database();
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
    if (m_list.report(report, severity, now_s)) {
        m_stored.bring_up_to_date();
    }
}

void EventHandler::apply(const Clear& clear, uint32_t now_s) {
    if (!m_list.end(clear.ev_id, now_s).empty()) {
        m_stored.bring_up_to_date();
    }
}
