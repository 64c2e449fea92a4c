#include "tools/apictl/notification_text.h"

#include <cstdio>
#include <ctime>

#include "src/base/json_helpers.h"
#include "tools/apictl/json_text.h"

namespace {

std::string time_text(const px_tvms_t& time) {
    std::tm local{};
    localtime_r(&time.seconds, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
    char milliseconds[sizeof ".000"];
    std::snprintf(milliseconds, sizeof milliseconds, ".%03u", time.milliseconds % 1000U);
    return std::string(date) + milliseconds;
}

}  // namespace

std::string notification_text(const cJSON& message, const px_tvms_t& time) {
    const cJSON* kind = cJSON_GetObjectString(&message, "method");
    const cJSON* params = cJSON_GetObjectObject(&message, "params");
    const cJSON* path = cJSON_GetObjectString(params, "path");
    if (kind == nullptr || path == nullptr) {
        return {};
    }
    std::string text =
        time_text(time) + ' ' + text_printable(kind->valuestring) + ' ' + text_printable(path->valuestring);
    if (const cJSON* data = cJSON_GetObjectItemCaseSensitive(params, "data")) {
        text += ' ' + json_printable(*data, JsonLayout::kOneLine);
    }
    return text;
}
