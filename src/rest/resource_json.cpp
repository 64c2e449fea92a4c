// SPDX-License-Identifier: MIT

#include "src/rest/resource_json.h"

#include "src/http/HabRequest.h"

void resource_json_add(cJSON* object, const char* name, JsonPtr value) {
    if (cJSON_AddItemToObject(object, name, value.get()) != 0) {
        static_cast<void>(value.release());
    }
}

void resource_json_replace(cJSON* object, const char* name, JsonPtr value) {
    if (cJSON_ReplaceItemInObjectCaseSensitive(object, name, value.get()) != 0) {
        static_cast<void>(value.release());
    }
}

void resource_json_reply(HabRequest* request, const cJSON* object) {
    const JsonText text(cJSON_Print(object));
    if (text == nullptr) {
        request->internalError();
        return;
    }
    request->reply(StatusCode::kOk, text.get(), nullptr);
}
