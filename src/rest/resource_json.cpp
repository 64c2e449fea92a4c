// SPDX-License-Identifier: MIT

#include "src/rest/resource_json.h"

#include "src/http/HabRequest.h"

void resource_json_reply(HabRequest* request, const cJSON* object) {
    const JsonText text(cJSON_Print(object));
    if (text == nullptr) {
        request->internalError();
        return;
    }
    request->reply(StatusCode::kOk, text.get(), nullptr);
}
