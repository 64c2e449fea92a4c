// SPDX-License-Identifier: MIT

#include "events/event_wire.h"

namespace {

template <class T>
void put(uint8_t* at, T value) {
    for (size_t i = 0; i < sizeof(T); ++i) {
        at[i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

template <class T>
T get(const uint8_t* at) {
    uint32_t value = 0;
    for (size_t i = 0; i < sizeof(T); ++i) {
        value |= uint32_t{at[i]} << (8 * i);
    }
    return static_cast<T>(value);
}

}  // namespace

std::array<uint8_t, kUserEventBytes> user_event_encode(const UserEvent& event) {
    std::array<uint8_t, kUserEventBytes> bytes{};
    put(&bytes[0], event.version);
    put(&bytes[1], event.severity);
    put(&bytes[2], event.state);
    put(&bytes[4], event.ev_id);
    put(&bytes[8], event.source);
    put(&bytes[10], event.subsource);
    put(&bytes[12], event.info);
    put(&bytes[16], event.extra);
    put(&bytes[20], event.on_time);
    put(&bytes[24], event.ev_time);
    put(&bytes[28], event.magic);
    return bytes;
}

UserEvent user_event_decode(std::span<const uint8_t, kUserEventBytes> bytes) {
    return {.version = get<uint8_t>(&bytes[0]),
            .severity = get<uint8_t>(&bytes[1]),
            .state = get<uint8_t>(&bytes[2]),
            .ev_id = get<uint32_t>(&bytes[4]),
            .source = get<uint16_t>(&bytes[8]),
            .subsource = get<uint16_t>(&bytes[10]),
            .info = get<uint32_t>(&bytes[12]),
            .extra = get<uint32_t>(&bytes[16]),
            .on_time = get<uint32_t>(&bytes[20]),
            .ev_time = get<uint32_t>(&bytes[24]),
            .magic = get<uint32_t>(&bytes[28])};
}

std::array<uint8_t, kEventReportBytes> event_report_encode(const EventReport& report) {
    std::array<uint8_t, kEventReportBytes> bytes{};
    put(&bytes[0], report.ev_id);
    put(&bytes[4], report.source);
    put(&bytes[6], report.subsource);
    put(&bytes[8], report.info);
    put(&bytes[12], report.state);
    return bytes;
}

EventReport event_report_decode(std::span<const uint8_t, kEventReportBytes> bytes) {
    return {.ev_id = get<uint32_t>(&bytes[0]),
            .source = get<uint16_t>(&bytes[4]),
            .subsource = get<uint16_t>(&bytes[6]),
            .info = get<uint32_t>(&bytes[8]),
            .state = get<uint32_t>(&bytes[12])};
}

std::array<uint8_t, kEventDefinitionRowBytes> event_definition_row_encode(const EventDefinitionRow& row) {
    std::array<uint8_t, kEventDefinitionRowBytes> bytes{};
    put(&bytes[0], row.ev_id);
    put(&bytes[4], row.severity);
    return bytes;
}

EventDefinitionRow event_definition_row_decode(std::span<const uint8_t, kEventDefinitionRowBytes> bytes) {
    return {.ev_id = get<uint32_t>(&bytes[0]), .severity = get<uint32_t>(&bytes[4])};
}
