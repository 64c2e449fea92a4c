// SPDX-License-Identifier: MIT

#include "tools/cbusctl/bus_data.h"

#include "src/base/hex_text.h"
#include "src/base/printable_text.h"

namespace {

bool is_text(std::string_view data) {
    return data.find('\0') == data.size() - 1 && text_is_utf8(data);
}

}  // namespace

std::string bus_data_text(std::string_view data, DataForm form) {
    if (form == DataForm::kAuto && !data.empty() && is_text(data)) {
        return text_printable(data.substr(0, data.size() - 1));
    }
    return hex_text(data);
}

void bus_data_add_to(cJSON* object, std::string_view data, DataForm form) {
    cJSON_AddNumberToObject(object, "size", static_cast<double>(data.size()));
    if (data.empty()) {
        return;
    }
    if (form == DataForm::kAuto && is_text(data)) {
        cJSON_AddStringToObject(object, "text", std::string(data.substr(0, data.size() - 1)).c_str());
    } else {
        cJSON_AddStringToObject(object, "hex", hex_text(data).c_str());
    }
}
