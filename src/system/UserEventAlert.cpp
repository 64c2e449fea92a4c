// SPDX-License-Identifier: MIT

#include "src/system/UserEventAlert.h"

#include <string>

#include "events/EventRecord.h"
#include "events/EventRecordIterator.h"
#include "events/event_client.h"
#include "events/event_wire.h"
#include "runtime/logging.h"
#include "src/system/UserEventLog.h"
#include "src/system/event_entry.h"

namespace {

constexpr const char* kModule = "src/UserEventAlert";

}  // namespace

UserEventAlert* UserEventAlert::sm_instance = nullptr;

UserEventAlert::UserEventAlert() {
    sm_instance = this;
    registerChangeCallback(logAlertCB);
}

// The listener stays: the event client may be gone already, and without an instance it does nothing.
UserEventAlert::~UserEventAlert() {
    if (sm_instance == this) {
        sm_instance = nullptr;
    }
}

void UserEventAlert::logAlertCB(EventRecord const& record) {
    if (UserEventLog* const log = UserEventLog::getInstance()) {
        log->logUserEvents(record);
    }
    if (UserEventAlert* const alerts = getInstance()) {
        alerts->logAlert(record);
    }
}

void UserEventAlert::readStartUpEvents() {
    for (EventStoreIterator iterator(nullptr); iterator.current() != nullptr; iterator.next()) {
        const EventRecord& record = *iterator.current();
        logAlertCB(record);
        // The wording is what log readers look for.
        logger_function(7, kModule, "EVENT REGISTRATED AT STARTUP! %i", static_cast<int>(record.ev_id));
    }
}

void UserEventAlert::logAlert(EventRecord const& record) {
    const std::string key = std::to_string(static_cast<int>(record.ev_id));
    JsonPtr json = event_entry_create(record);
    if (json == nullptr) {
        return;
    }
    if (record.state == kEventStateOff && removeEntry(key.c_str())) {
        notifyEntryDeleted(key.c_str());
    } else if (record.state == kEventStateOn && !isEntry(key.c_str())) {
        cJSON* const entry = json.get();
        putEntry(key.c_str(), json.release());
        notifyEntryCreated(key.c_str(), entry);
    }
}
