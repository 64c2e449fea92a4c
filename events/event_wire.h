// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

// event_wire: events as bytes, between this process, the event handler and the database that both write to.
// Every field is little-endian and stands at a fixed offset, whatever machine and compiler: no structure is copied as
// it lies in memory.

inline constexpr uint32_t kEventSeverityInfo = 0;
inline constexpr uint32_t kEventSeverityWarning = 1;
inline constexpr uint32_t kEventSeverityError = 2;
inline constexpr uint32_t kEventSeverityFatal = 3;

inline constexpr uint32_t kEventStateOff = 1;   // ended
inline constexpr uint32_t kEventStateOn = 2;    // active
inline constexpr uint32_t kEventStateNone = 3;  // a notification: neither begins nor ends

inline constexpr uint8_t kUserEventVersion = 2;
inline constexpr uint32_t kUserEventMagic = 0xA0B2C4D8;

// Where the list of events is kept: one value per event under the prefix and its position, counted from 0.
inline constexpr char kEventStorePrefix[] = "dyn.evh.store.";

// Signals to the event handler.
inline constexpr char kRegisterEventDefinitionSignal[] = "event_handler.registerEventDefinition";
inline constexpr char kForwardEventReportSignal[] = "event_handler.forwardEventReport";
inline constexpr char kClearEventsSignal[] = "event_handler.clearEvents";

// One stored event: at 0 u8 version, 1 u8 severity, 2 u8 state, 3 unused, 4 u32 ev_id, 8 u16 source, 10 u16 subsource,
// 12 u32 info, 16 u32 extra, 20 u32 on_time, 24 u32 ev_time, 28 u32 magic.
inline constexpr size_t kUserEventBytes = 32;
struct UserEvent {
    uint8_t version = kUserEventVersion;
    uint8_t severity = 0;
    uint8_t state = 0;
    uint32_t ev_id = 0;
    uint16_t source = 0;
    uint16_t subsource = 0;
    uint32_t info = 0;
    uint32_t extra = 0;
    uint32_t on_time = 0;  // seconds: when it went ON
    uint32_t ev_time = 0;  // seconds: its last change
    uint32_t magic = kUserEventMagic;
    bool operator==(const UserEvent&) const = default;
};

// What happened, told to the event handler: 0 u32 ev_id, 4 u16 source, 6 u16 subsource, 8 u32 info, 12 u32 state.
inline constexpr size_t kEventReportBytes = 16;
struct EventReport {
    uint32_t ev_id = 0;
    uint16_t source = 0;
    uint16_t subsource = 0;
    uint32_t info = 0;
    uint32_t state = 0;  // kEventStateOff clears, kEventStateOn raises
    bool operator==(const EventReport&) const = default;
};

// One row of an announced table of definitions: 0 u32 ev_id, 4 u32 severity, 8 u32 zero. The third word has the place
// of a text pointer: no address leaves this process, and receivers take the texts from the database.
inline constexpr size_t kEventDefinitionRowBytes = 12;
struct EventDefinitionRow {
    uint32_t ev_id = 0;
    uint32_t severity = 0;
    bool operator==(const EventDefinitionRow&) const = default;
};

// Decoding takes any bytes: version, magic and ranges are the reader's to check.
[[nodiscard]] std::array<uint8_t, kUserEventBytes> user_event_encode(const UserEvent& event);
[[nodiscard]] UserEvent user_event_decode(std::span<const uint8_t, kUserEventBytes> bytes);
[[nodiscard]] std::array<uint8_t, kEventReportBytes> event_report_encode(const EventReport& report);
[[nodiscard]] EventReport event_report_decode(std::span<const uint8_t, kEventReportBytes> bytes);
[[nodiscard]] std::array<uint8_t, kEventDefinitionRowBytes> event_definition_row_encode(
    const EventDefinitionRow& row);
[[nodiscard]] EventDefinitionRow event_definition_row_decode(
    std::span<const uint8_t, kEventDefinitionRowBytes> bytes);
