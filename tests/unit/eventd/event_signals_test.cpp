// SPDX-License-Identifier: MIT

#include "device/eventd/event_signals.h"

#include <gmock/gmock.h>

#include "Events.h"

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

namespace {

std::string Row(uint32_t ev_id, uint32_t severity) {
    return TextOf(event_definition_row_encode({ev_id, severity}));
}

}  // namespace

TEST(DefinitionSignal, HoldsARowPerTwelveBytes) {
    EXPECT_THAT(event_signal_definitions(Row(66128, 1) + Row(67993, 2)),
                Optional(ElementsAre(EventDefinitionRow{66128, 1}, EventDefinitionRow{67993, 2})));
}

TEST(DefinitionSignal, MayBeEmpty) {
    EXPECT_THAT(event_signal_definitions(""), Optional(IsEmpty()));
}

TEST(DefinitionSignal, WithPartOfARowIsNone) {
    EXPECT_EQ(event_signal_definitions(Row(66128, 1) + "x"), std::nullopt);
    EXPECT_EQ(event_signal_definitions(Row(66128, 1).substr(1)), std::nullopt);
}

TEST(DefinitionSignal, WithASeverityThatThereIsNotIsNone) {
    EXPECT_TRUE(event_signal_definitions(Row(1, 3)).has_value());
    EXPECT_EQ(event_signal_definitions(Row(1, 4)), std::nullopt);
    EXPECT_EQ(event_signal_definitions(Row(1, 257)), std::nullopt);
}

TEST(ReportSignal, HoldsAReport) {
    const EventReport report{.ev_id = 66128, .source = 1025, .subsource = 3, .info = 7, .state = 2};

    EXPECT_EQ(event_signal_report(TextOf(event_report_encode(report))), report);
}

TEST(ReportSignal, OfAnotherSizeIsNone) {
    const std::string bytes = TextOf(event_report_encode(On(1)));

    EXPECT_EQ(event_signal_report(bytes.substr(1)), std::nullopt);
    EXPECT_EQ(event_signal_report(bytes + "x"), std::nullopt);
    EXPECT_EQ(event_signal_report(""), std::nullopt);
}

TEST(ReportSignal, WithAStateThatThereIsNotIsNone) {
    EXPECT_EQ(event_signal_report(TextOf(event_report_encode(Report(1, 0)))), std::nullopt);
    EXPECT_EQ(event_signal_report(TextOf(event_report_encode(Report(1, 4)))), std::nullopt);
    EXPECT_EQ(event_signal_report(TextOf(event_report_encode(Report(1, 258)))), std::nullopt);
}

TEST(ReportSignal, MayNotify) {
    EXPECT_EQ(event_signal_report(TextOf(event_report_encode(Notice(1)))), Notice(1));
}

TEST(ClearSignal, HoldsANumberAndANul) {
    EXPECT_EQ(event_signal_clear("0\0"s), 0U);
    EXPECT_EQ(event_signal_clear("66128\0"s), 66128U);
    EXPECT_EQ(event_signal_clear("4294967295\0"s), 4294967295U);
}

TEST(ClearSignal, WithoutItsNulIsNone) {
    EXPECT_EQ(event_signal_clear("0"), std::nullopt);
    EXPECT_EQ(event_signal_clear(""), std::nullopt);
}

TEST(ClearSignal, OfAnythingButADecimalNumberIsNone) {
    EXPECT_EQ(event_signal_clear("\0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear("-1\0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear(" 1\0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear("1 \0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear("0x1\0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear("1\0\0"s), std::nullopt);
    EXPECT_EQ(event_signal_clear("all\0"s), std::nullopt);
}

TEST(ClearSignal, OfANumberBeyond32BitsIsNone) {
    EXPECT_EQ(event_signal_clear("4294967296\0"s), std::nullopt);
}
