// SPDX-License-Identifier: MIT

#include <cstdint>
#include <string_view>
#include <vector>

#include "device/eventd/EventList.h"
#include "device/eventd/event_signals.h"

// One signal's data as each of the three, on a full list and on an empty one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view payload(reinterpret_cast<const char*>(data), size);
    EventList full{std::vector<UserEvent>(EventList::kCapacity)};
    EventList empty;
    if (const auto rows = event_signal_definitions(payload)) {
        for (const EventDefinitionRow& row : *rows) {
            if (row.severity > kEventSeverityFatal) {
                __builtin_trap();
            }
        }
    }
    if (const auto report = event_signal_report(payload)) {
        const auto place = full.report(*report, 0, 1);
        const bool is_new = empty.report(*report, 0, 1).has_value();
        if ((place && *place >= EventList::kCapacity) || full.events().size() != EventList::kCapacity ||
            empty.events().size() != (is_new ? 1 : 0)) {
            __builtin_trap();
        }
    }
    if (const auto ev_id = event_signal_clear(payload)) {
        static_cast<void>(full.end(*ev_id, 2));
    }
    return 0;
}
