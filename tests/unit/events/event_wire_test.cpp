// SPDX-License-Identifier: MIT

#include "events/event_wire.h"

#include <gtest/gtest.h>

namespace {

// Every byte different, so that each shows where it went.
const UserEvent kEvent{.version = 0x02,
                       .severity = 0x03,
                       .state = 0x01,
                       .ev_id = 0x13121110,
                       .source = 0x2120,
                       .subsource = 0x3130,
                       .info = 0x43424140,
                       .extra = 0x53525150,
                       .on_time = 0x63626160,
                       .ev_time = 0x73727170,
                       .magic = 0xA0B2C4D8};
const std::array<uint8_t, 32> kEventBytes{0x02, 0x03, 0x01, 0x00, 0x10, 0x11, 0x12, 0x13, 0x20, 0x21, 0x30,
                                          0x31, 0x40, 0x41, 0x42, 0x43, 0x50, 0x51, 0x52, 0x53, 0x60, 0x61,
                                          0x62, 0x63, 0x70, 0x71, 0x72, 0x73, 0xD8, 0xC4, 0xB2, 0xA0};

}  // namespace

TEST(UserEventBytes, HaveEachFieldAtItsOffsetLowByteFirst) {
    EXPECT_EQ(user_event_encode(kEvent), kEventBytes);
}

TEST(UserEventBytes, GiveEachFieldBack) {
    EXPECT_EQ(user_event_decode(kEventBytes), kEvent);
}

TEST(UserEventBytes, TheUnusedByteIsNotRead) {
    std::array<uint8_t, 32> bytes = kEventBytes;
    bytes[3] = 0xff;

    EXPECT_EQ(user_event_decode(bytes), kEvent);
}

TEST(UserEventBytes, TakeAnyBytes) {
    std::array<uint8_t, 32> bytes{};
    bytes.fill(0xff);

    const UserEvent event = user_event_decode(bytes);

    EXPECT_EQ(event.version, 0xff);
    EXPECT_EQ(event.state, 0xff);
    EXPECT_EQ(event.source, 0xffff);
    EXPECT_EQ(event.ev_id, 0xffffffff);
    EXPECT_EQ(event.magic, 0xffffffff);
}

TEST(UserEvent, IsOfTheCurrentVersionUnlessToldOtherwise) {
    const auto bytes = user_event_encode({});

    EXPECT_EQ(bytes[0], 2);
    EXPECT_EQ(user_event_decode(bytes).magic, 0xA0B2C4D8);
}

TEST(EventReportBytes, HaveInfoInFrontOfState) {
    const EventReport report{
        .ev_id = 66128, .source = 1025, .subsource = 0x0706, .info = 7, .state = kEventStateOn};
    const std::array<uint8_t, 16> bytes{0x50, 0x02, 0x01, 0x00, 0x01, 0x04, 0x06, 0x07,
                                        0x07, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00};

    EXPECT_EQ(event_report_encode(report), bytes);
    EXPECT_EQ(event_report_decode(bytes), report);
}

TEST(EventDefinitionRowBytes, EndWithAZeroWord) {
    const EventDefinitionRow row{.ev_id = 67993, .severity = 2};
    const std::array<uint8_t, 12> bytes{0x99, 0x09, 0x01, 0x00, 0x02, 0, 0, 0, 0, 0, 0, 0};

    EXPECT_EQ(event_definition_row_encode(row), bytes);
    EXPECT_EQ(event_definition_row_decode(bytes), row);
}

TEST(EventDefinitionRowBytes, TheThirdWordIsNotRead) {
    const std::array<uint8_t, 12> bytes{1, 0, 0, 0, 3, 0, 0, 0, 0xde, 0xad, 0xbe, 0xef};

    EXPECT_EQ(event_definition_row_decode(bytes), (EventDefinitionRow{.ev_id = 1, .severity = 3}));
}
