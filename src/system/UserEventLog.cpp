// SPDX-License-Identifier: MIT

#include "src/system/UserEventLog.h"

#include "events/EventRecord.h"
#include "src/base/assertion.h"
#include "src/system/event_entry.h"

namespace {

constexpr const char* kModule = "src/UserEventLog";

}  // namespace

UserEventLog* UserEventLog::sm_instance = nullptr;

UserEventLog::UserEventLog() {
    sm_instance = this;
}

UserEventLog::~UserEventLog() {
    if (sm_instance == this) {
        sm_instance = nullptr;
    }
}

void UserEventLog::logUserEvents(EventRecord const& record) {
    const std::string key = takeKey();
    const char* const state = reformatState(static_cast<int>(record.state));
    const char* const severity = reformatSeverity(static_cast<int>(record.severity));
    if (state == nullptr || severity == nullptr) {
        return;
    }
    // The ring never leaves an entry here. Should anything else have put one under the key, only a change of a known
    // state may replace it.
    const std::string registered = lookUpEventStateRegister(static_cast<int>(record.ev_id));
    if (isEntry(key.c_str()) && (registered.empty() || registered == state)) {
        return;
    }
    addEntry(key, record);
}

std::string UserEventLog::takeKey() {
    if (m_id_counter == kMaxEntries) {
        m_id_counter = 0;
        m_is_wrapped = true;
    }
    std::string key = std::to_string(m_id_counter);
    // Before anything is known of the record: one that makes no entry costs the oldest one as well, which the next
    // change would have taken.
    if (m_is_wrapped) {
        removeEntry(key.c_str());
    }
    return key;
}

void UserEventLog::addEntry(const std::string& key, EventRecord const& record) {
    JsonPtr json = event_entry_create(record);
    ORVALE_ASSERT(json != nullptr, "m_json", kModule, "void UserEventLog::logUserEvents(const EventRecord&)");
    cJSON* const entry = json.get();
    putEntry(key.c_str(), json.release());
    ++m_id_counter;
    registerEventState(static_cast<int>(record.ev_id), reformatState(static_cast<int>(record.state)));
    notifyEntryCreatedOnNewPath(entry);
}

void UserEventLog::registerEventState(int ev_id, char const* state) {
    m_event_states[ev_id] = state;
}

std::string UserEventLog::lookUpEventStateRegister(int ev_id) const {
    const auto found = m_event_states.find(ev_id);
    return found == m_event_states.end() ? std::string() : found->second;
}

const char* UserEventLog::reformatState(int state) {
    return event_entry_state_text(state);
}

const char* UserEventLog::reformatSeverity(int severity) {
    return event_entry_severity_text(severity);
}
