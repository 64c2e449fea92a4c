// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "events/event_wire.h"

// event_signals: the data of the signals to the event handler. They come from any process of the unit: nothing when
// the data are not exactly what the signal carries.

// Whole rows, each with a severity that there is; none at all are fine.
[[nodiscard]] std::optional<std::vector<EventDefinitionRow>> event_signal_definitions(std::string_view data);
// With a state that there is.
[[nodiscard]] std::optional<EventReport> event_signal_report(std::string_view data);
// A decimal number and its NUL.
[[nodiscard]] std::optional<uint32_t> event_signal_clear(std::string_view data);
