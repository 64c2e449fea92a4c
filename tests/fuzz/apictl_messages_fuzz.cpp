// SPDX-License-Identifier: MIT

#include <cstdint>
#include <string_view>

#include "tools/apictl/ApiResponse.h"
#include "tools/apictl/MessageSplitter.h"
#include "tools/apictl/notification_text.h"

// What a daemon sends to apictl: where messages end, and what is printed of them.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    MessageSplitter splitter;
    std::string_view stream(reinterpret_cast<const char*>(data), size);
    while (splitter.next(stream) == MessageSplitter::Result::kMessage) {
        if (JsonPtr message{cJSON_ParseWithLength(stream.data(), splitter.length())}) {
            static_cast<void>(notification_text(*message, 0, Paint()));
            static_cast<void>(notification_json(*message, 0));
            static_cast<void>(ApiResponse(std::move(message)).errorText());
        }
        stream.remove_prefix(splitter.length());
    }
    return 0;
}
