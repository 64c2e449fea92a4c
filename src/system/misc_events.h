// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

// The events that this program raises itself.

inline constexpr uint32_t kOemWarningEvent = 66128;
inline constexpr uint32_t kTestEvent = 67993;

// Where they come from, in every report.
inline constexpr uint16_t kOwnEventSource = 1025;
inline constexpr uint16_t kOwnEventSubsource = 0;

// Announces them to the event handler, their short texts first. Without a bus connection (setEventConnection) it stops
// the process.
void registerMiscEvents();
