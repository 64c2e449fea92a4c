// SPDX-License-Identifier: MIT

#include "device/eventd/event_signals.h"

#include <charconv>
#include <span>

namespace {

// The record of `Bytes` bytes that starts at `offset`; the data reach that far.
template <size_t Bytes>
std::span<const uint8_t, Bytes> record_at(std::string_view data, size_t offset) {
    return std::span<const uint8_t, Bytes>(reinterpret_cast<const uint8_t*>(data.data()) + offset, Bytes);
}

}  // namespace

std::optional<std::vector<EventDefinitionRow>> event_signal_definitions(std::string_view data) {
    if (data.size() % kEventDefinitionRowBytes != 0) {
        return std::nullopt;
    }
    std::vector<EventDefinitionRow> rows;
    rows.reserve(data.size() / kEventDefinitionRowBytes);
    for (size_t offset = 0; offset < data.size(); offset += kEventDefinitionRowBytes) {
        rows.push_back(event_definition_row_decode(record_at<kEventDefinitionRowBytes>(data, offset)));
        if (rows.back().severity > kEventSeverityFatal) {
            return std::nullopt;
        }
    }
    return rows;
}

std::optional<EventReport> event_signal_report(std::string_view data) {
    if (data.size() != kEventReportBytes) {
        return std::nullopt;
    }
    const EventReport report = event_report_decode(record_at<kEventReportBytes>(data, 0));
    const bool has_state = report.state >= kEventStateOff && report.state <= kEventStateNone;
    return has_state ? std::optional(report) : std::nullopt;
}

std::optional<uint32_t> event_signal_clear(std::string_view data) {
    if (!data.ends_with('\0')) {
        return std::nullopt;
    }
    data.remove_suffix(1);
    uint32_t number = 0;
    const auto parsed = std::from_chars(data.data(), data.data() + data.size(), number);
    const bool is_number = parsed.ec == std::errc() && parsed.ptr == data.data() + data.size();
    return is_number ? std::optional(number) : std::nullopt;
}
