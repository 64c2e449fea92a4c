// SPDX-License-Identifier: MIT

#include "src/system/event_entry.h"

#include <cstddef>
#include <utility>

#include "events/EventRecord.h"
#include "events/event_wire.h"

namespace {

constexpr const char* kStateTexts[] = {"OFF", "ON", "NONE"};
constexpr int kFirstState = kEventStateOff;

// The last one is FATAL: clients know three severities, and a fatal event has to stay an "ERROR" to them.
constexpr const char* kSeverityTexts[] = {"INFO", "WARNING", "ERROR", "ERROR"};
constexpr int kFirstSeverity = kEventSeverityInfo;

template <std::size_t Count>
const char* text_at(const char* const (&texts)[Count], int first, int value) {
    return value >= first && value - first < static_cast<int>(Count) ? texts[value - first] : nullptr;
}

bool add_number(cJSON* object, const char* name, int64_t number) {
    return cJSON_AddNumberToObject(object, name, static_cast<double>(number)) != nullptr;
}

bool add_time(cJSON* object, const char* name, std::optional<int64_t> time) {
    return time ? add_number(object, name, *time) : cJSON_AddNullToObject(object, name) != nullptr;
}

}  // namespace

const char* event_entry_state_text(int state) {
    return text_at(kStateTexts, kFirstState, state);
}

const char* event_entry_severity_text(int severity) {
    return text_at(kSeverityTexts, kFirstSeverity, severity);
}

JsonPtr event_entry_create(const EventEntry& entry) {
    JsonPtr json(cJSON_CreateObject());
    cJSON* const object = json.get();
    const bool is_whole = add_number(object, "ev_id", entry.ev_id) &&
                          cJSON_AddStringToObject(object, kEventEntryState, entry.state) != nullptr &&
                          cJSON_AddStringToObject(object, "severity", entry.severity) != nullptr &&
                          add_number(object, kEventEntryInfo, entry.info) &&
                          add_time(object, kEventEntryTime, entry.ev_time) &&
                          add_time(object, kEventEntryOnTime, entry.on_time);
    return is_whole ? std::move(json) : nullptr;
}

JsonPtr event_entry_create(const EventRecord& record) {
    const char* const state = event_entry_state_text(static_cast<int>(record.state));
    const char* const severity = event_entry_severity_text(static_cast<int>(record.severity));
    if (state == nullptr || severity == nullptr) {
        return nullptr;
    }
    return event_entry_create(EventEntry{.ev_id = record.ev_id,
                                         .state = state,
                                         .severity = severity,
                                         .info = record.info,
                                         .ev_time = int64_t{record.ev_time} + record.time_offset,
                                         .on_time = int64_t{record.on_time} + record.time_offset});
}
