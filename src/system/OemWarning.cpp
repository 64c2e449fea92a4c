// SPDX-License-Identifier: MIT

#include "src/system/OemWarning.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <optional>

#include "events/event_cbus_client.h"
#include "events/event_wire.h"
#include "runtime/logging.h"
#include "runtime/px_time.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/rest/CjsonValidate.h"
#include "src/rest/resource_json.h"
#include "src/system/event_entry.h"
#include "src/system/misc_events.h"

namespace {

constexpr const char* kModule = "src/OemWarning";

constexpr const char* kOn = "ON";
constexpr const char* kOff = "OFF";

// 0 when the body names none; nothing for a value that is no number of an event.
std::optional<uint32_t> requested_info(const cJSON* body) {
    double info = 0;
    const int result = CjsonValidate::getAttributeDouble(body, kEventEntryInfo, &info, 0,
                                                         std::numeric_limits<uint32_t>::max());
    if (result == CjsonValidate::kInvalid || std::trunc(info) != info) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(info);
}

}  // namespace

OemWarning::~OemWarning() = default;

void OemWarning::readOperation(HabRequest* request) {
    init();
    resource_json_reply(request, m_json.get());
}

void OemWarning::updateOperation(HabRequest* request) {
    init();
    const JsonPtr body = readRequestData(request);
    const auto info = cJSON_IsObject(body.get()) ? requested_info(body.get()) : std::nullopt;
    if (!info) {
        request->replyFinish(StatusCode::kBadRequest);
        return;
    }
    const Step info_step = updateInfo(*info);
    const Step state_step = updateState(body.get(), info_step.status);
    if (!info_step.is_changed && !state_step.is_changed) {
        request->replyFinish(state_step.status);
        return;
    }
    report();
    logger_function(6, kModule, "Updated");
    request->replyFinish(StatusCode::kOk);
}

void OemWarning::init() {
    if (m_json != nullptr) {
        return;
    }
    m_json = event_entry_create(EventEntry{.ev_id = kOemWarningEvent,
                                           .state = event_entry_state_text(kEventStateOff),
                                           .severity = event_entry_severity_text(kEventSeverityWarning)});
    ORVALE_ASSERT(m_json != nullptr, "m_json", kModule, "void OemWarning::init()");
}

// A client cannot go back to 0: it is what a body without the number reads as, and leaves the stored one.
OemWarning::Step OemWarning::updateInfo(uint32_t info) {
    const uint32_t stored = storedInfo();
    if (info == stored) {
        return {false, StatusCode::kConflict};
    }
    if (info != 0) {
        replaceNumber(kEventEntryInfo, info);
    }
    return {info != 0, StatusCode::kBadRequest};
}

OemWarning::Step OemWarning::updateState(const cJSON* body, StatusCode::Value otherwise) {
    const cJSON* const wanted = cJSON_GetObjectString(body, kEventEntryState);
    if (wanted == nullptr) {
        return {false, otherwise};
    }
    const bool was_on = isOn();
    const char* const other = was_on ? kOff : kOn;
    if (std::strcmp(wanted->valuestring, was_on ? kOn : kOff) == 0) {
        return {false, StatusCode::kConflict};
    }
    if (std::strcmp(wanted->valuestring, other) != 0) {
        return {false, otherwise};
    }
    const std::time_t now = px_time();
    if (!was_on) {
        replaceNumber(kEventEntryOnTime, now);
    }
    replaceNumber(kEventEntryTime, now);
    json_replace(m_json.get(), kEventEntryState, JsonPtr(cJSON_CreateString(other)));
    return {true, otherwise};
}

void OemWarning::replaceNumber(const char* attribute, int64_t number) {
    json_replace(m_json.get(), attribute, JsonPtr(cJSON_CreateNumber(static_cast<double>(number))));
}

bool OemWarning::isOn() const {
    return CjsonValidate::validateAttributeString(m_json.get(), kEventEntryState, kOn) ==
           CjsonValidate::kValid;
}

uint32_t OemWarning::storedInfo() const {
    const cJSON* const info = cJSON_GetObjectNumber(m_json.get(), kEventEntryInfo);
    return info == nullptr ? 0 : static_cast<uint32_t>(info->valuedouble);
}

void OemWarning::report() const {
    reportEventOnUnit(kOemWarningEvent, kOwnEventSource, kOwnEventSubsource,
                      isOn() ? kEventStateOn : kEventStateOff, storedInfo());
}
