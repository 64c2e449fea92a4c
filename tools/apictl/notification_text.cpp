// SPDX-License-Identifier: MIT

#include "tools/apictl/notification_text.h"

#include "src/base/json_helpers.h"
#include "src/base/owners.h"
#include "src/base/printable_text.h"
#include "tools/common/json_text.h"
#include "tools/common/time_text.h"

namespace {

struct Notification {
    const char* kind = nullptr;
    const char* path = nullptr;
    const cJSON* data = nullptr;
};

// Without a kind when the message tells none, or no path.
Notification notification_of(const cJSON& message) {
    const cJSON* kind = cJSON_GetObjectString(&message, "method");
    const cJSON* params = cJSON_GetObjectObject(&message, "params");
    const cJSON* path = cJSON_GetObjectString(params, "path");
    if (kind == nullptr || path == nullptr) {
        return {};
    }
    return {kind->valuestring, path->valuestring, cJSON_GetObjectItemCaseSensitive(params, "data")};
}

Paint::Colour colour_of(const std::string& kind) {
    return kind == "Deleted"   ? Paint::Colour::kBad
           : kind == "Created" ? Paint::Colour::kGood
                               : Paint::Colour::kNotable;
}

}  // namespace

std::string notification_text(const cJSON& message, std::uint64_t time_us, const Paint& paint) {
    const Notification notification = notification_of(message);
    if (notification.kind == nullptr) {
        return {};
    }
    std::string text = time_text(time_us, TimePrecision::kMilliseconds) + ' ' +
                       paint(colour_of(notification.kind), text_printable(notification.kind)) + ' ' +
                       text_printable(notification.path);
    if (notification.data != nullptr) {
        text += ' ' + json_printable(*notification.data, JsonLayout::kOneLine);
    }
    return text;
}

std::string notification_json(const cJSON& message, std::uint64_t time_us) {
    const Notification notification = notification_of(message);
    if (notification.kind == nullptr) {
        return {};
    }
    const JsonPtr json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "time", time_text(time_us, TimePrecision::kMilliseconds).c_str());
    cJSON_AddStringToObject(json.get(), "event", notification.kind);
    cJSON_AddStringToObject(json.get(), "path", notification.path);
    if (notification.data != nullptr) {
        // A reference, which goes with this object; it is only printed, so that the constness holds.
        cJSON_AddItemReferenceToObject(json.get(), "data", const_cast<cJSON*>(notification.data));
    }
    return json_printable(*json, JsonLayout::kOneLine);
}
