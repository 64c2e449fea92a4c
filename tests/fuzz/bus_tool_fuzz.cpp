// SPDX-License-Identifier: MIT

#include <cstdint>
#include <string_view>

#include "tools/cbusctl/BusStatus.h"
#include "tools/cbusctl/MonitorCopy.h"
#include "tools/cbusctl/monitor_text.h"
#include "tools/cbusctl/status_text.h"

// What a bus sends to cbusctl: copies of messages, whose payload may come from any client, and its status.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    if (const auto copy = monitor_copy_parse(bytes)) {
        static_cast<void>(monitor_text(*copy, BusStatus{}, DataForm::kHex, Paint()));
        static_cast<void>(monitor_json(*copy, DataForm::kAuto));
        static_cast<void>(monitor_copy_lost(*copy));
    }
    if (const auto status = bus_status_parse(bytes)) {
        static_cast<void>(status_lines(*status, Paint()));
        static_cast<void>(list_lines(*status, Paint()));
        static_cast<void>(list_json(*status));
    }
    return 0;
}
