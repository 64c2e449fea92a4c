// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>

#include "src/base/owners.h"

struct EventRecord;

// event_entry: how clients see one event, the same in every resource that shows events.
// Units:  times in seconds; one that is not known is JSON null.
// Errors: without memory there is no object. Severity and state of a record come from another process and may be
//         anything; a record with a value that has no text is shown to nobody.

inline constexpr const char* kEventEntryState = "state";
inline constexpr const char* kEventEntryInfo = "info";
inline constexpr const char* kEventEntryTime = "ev_time";
inline constexpr const char* kEventEntryOnTime = "on_time";

struct EventEntry {
    uint32_t ev_id = 0;
    const char* state = nullptr;
    const char* severity = nullptr;
    uint32_t info = 0;
    std::optional<int64_t> ev_time = {};
    std::optional<int64_t> on_time = {};
};

// Null for a value without a text.
[[nodiscard]] const char* event_entry_state_text(int state);
[[nodiscard]] const char* event_entry_severity_text(int severity);

[[nodiscard]] JsonPtr event_entry_create(const EventEntry& entry);
// Also null for a record whose state or severity has no text.
[[nodiscard]] JsonPtr event_entry_create(const EventRecord& record);
