// SPDX-License-Identifier: MIT

#include "tools/apictl/ApiResponse.h"

#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "tools/common/json_text.h"

const cJSON* ApiResponse::body() const {
    const cJSON* result = cJSON_GetObjectObject(m_message.get(), "result");
    return result != nullptr ? result : cJSON_GetObjectObject(m_message.get(), "error");
}

bool ApiResponse::isSuccess() const {
    const bool is_result = cJSON_GetObjectObject(m_message.get(), "result") != nullptr;
    return is_result && code() >= 200 && code() <= 299;
}

int ApiResponse::code() const {
    const cJSON* code = cJSON_GetObjectNumber(body(), "code");
    return code != nullptr ? code->valueint : 0;
}

const cJSON* ApiResponse::data() const {
    return cJSON_GetObjectItemCaseSensitive(body(), "data");
}

std::string ApiResponse::errorText() const {
    std::string text = std::to_string(code());
    if (const cJSON* message = cJSON_GetObjectString(body(), "message")) {
        text += ' ' + text_printable(message->valuestring);
    }
    if (data() != nullptr) {
        text += ": " + json_printable(*data(), JsonLayout::kOneLine);
    }
    return text;
}
