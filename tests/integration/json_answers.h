// SPDX-License-Identifier: MIT

#pragma once

#include <initializer_list>
#include <string>

#include "src/base/owners.h"

// What stands in an answer. JSON is compared as text without blanks.

inline const cJSON* Member(const JsonPtr& object, std::initializer_list<const char*> path) {
    const cJSON* at = object.get();
    for (const char* name : path) {
        at = cJSON_GetObjectItemCaseSensitive(at, name);
    }
    return at;
}

inline double Number(const JsonPtr& object, std::initializer_list<const char*> path) {
    return cJSON_GetNumberValue(Member(object, path));
}

inline std::string Text(const JsonPtr& object, std::initializer_list<const char*> path) {
    const char* const text = cJSON_GetStringValue(Member(object, path));
    return text != nullptr ? text : "(no text)";
}

inline std::string Compact(const cJSON* item) {
    const JsonText text(cJSON_PrintUnformatted(item));
    return text == nullptr ? std::string() : std::string(text.get());
}

// A notification as "Updated /path {"data":1}", "-" for no data.
inline std::string NotificationText(const JsonPtr& message) {
    const cJSON* const data = Member(message, {"params", "data"});
    return Text(message, {"method"}) + " " + Text(message, {"params", "path"}) + " " +
           (data == nullptr ? "-" : Compact(data));
}
