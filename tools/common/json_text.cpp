// SPDX-License-Identifier: MIT

#include "tools/common/json_text.h"

#include <new>

#include "src/base/owners.h"
#include "src/base/printable_text.h"

namespace {

std::string print(const cJSON& json, JsonLayout layout) {
    const JsonText text(layout == JsonLayout::kIndented ? cJSON_Print(&json) : cJSON_PrintUnformatted(&json));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text.get();
}

}  // namespace

std::string json_wire_text(const cJSON& json) {
    std::string result;
    bool is_in_string = false;
    bool is_escaped = false;
    for (const char byte : print(json, JsonLayout::kOneLine)) {
        if (is_in_string && (byte == '{' || byte == '}')) {
            result += byte == '{' ? "\\u007b" : "\\u007d";
            continue;
        }
        result += byte;
        is_in_string = is_in_string != (byte == '"' && !is_escaped);
        is_escaped = byte == '\\' && !is_escaped;
    }
    return result;
}

std::string json_printable(const cJSON& json, JsonLayout layout) {
    // The printer has escaped what lies below the space; what is left of that is its own layout.
    return text_without_high_controls(print(json, layout));
}
