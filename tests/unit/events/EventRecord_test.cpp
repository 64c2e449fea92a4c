// SPDX-License-Identifier: MIT

#include "events/EventRecord.h"

#include <gtest/gtest.h>

namespace {

EventRecord WithSeverity(uint32_t severity) {
    EventRecord record;
    record.severity = severity;
    return record;
}

EventRecord WithState(uint32_t state) {
    EventRecord record;
    record.state = state;
    return record;
}

EventRecord WithTexts(const std::string& text, const std::string& short_text) {
    EventRecord record;
    record.text = std::make_shared<const std::string>(text);
    record.short_text = std::make_shared<const std::string>(short_text);
    record.has_text = true;
    record.has_short_text = true;
    return record;
}

}  // namespace

TEST(EventRecordSeverity, EachHasItsName) {
    EXPECT_STREQ(WithSeverity(0).getSeverityText("en"), "INFO");
    EXPECT_STREQ(WithSeverity(1).getSeverityText("en"), "WARNING");
    EXPECT_STREQ(WithSeverity(2).getSeverityText("en"), "ERROR");
    EXPECT_STREQ(WithSeverity(3).getSeverityText("en"), "FATAL");
}

TEST(EventRecordSeverity, OneBeyondTheTableHasNone) {
    EXPECT_STREQ(WithSeverity(4).getSeverityText("en"), "");
    EXPECT_STREQ(WithSeverity(UINT32_MAX).getSeverityText("en"), "");
}

TEST(EventRecordSeverity, IsNotTranslated) {
    EXPECT_STREQ(WithSeverity(2).getSeverityText("no"), "ERROR");
    EXPECT_STREQ(WithSeverity(2).getSeverityText(nullptr), "ERROR");
}

TEST(EventRecordState, EachHasItsName) {
    EXPECT_STREQ(WithState(1).getStateText("en"), "OFF");
    EXPECT_STREQ(WithState(2).getStateText("en"), "ON");
    EXPECT_STREQ(WithState(3).getStateText("en"), "NONE");
}

TEST(EventRecordState, OneOutsideOfTheTableHasNone) {
    EXPECT_STREQ(WithState(0).getStateText("en"), "");
    EXPECT_STREQ(WithState(4).getStateText("en"), "");
    EXPECT_STREQ(WithState(UINT32_MAX).getStateText("en"), "");
}

TEST(EventRecordState, IsNotTranslated) {
    EXPECT_STREQ(WithState(2).getStateText("no"), "ON");
    EXPECT_STREQ(WithState(2).getStateText(nullptr), "ON");
}

TEST(EventRecordText, IsGivenForEnglish) {
    EXPECT_STREQ(WithTexts("Antenna fault", "ANT").getText("en", nullptr), "Antenna fault");
}

TEST(EventRecordText, IsEmptyForAnyOtherLanguage) {
    const EventRecord record = WithTexts("Antenna fault", "ANT");

    EXPECT_STREQ(record.getText("no", "en"), "");
    EXPECT_STREQ(record.getText("english", "en"), "");
    EXPECT_STREQ(record.getText("", "en"), "");
    EXPECT_STREQ(record.getText(nullptr, "en"), "");
}

TEST(EventRecordText, IsEmptyWhenNoneWasFoundThoughTheDefaultIsThere) {
    const EventRecord record;

    EXPECT_STREQ(record.getText("en", nullptr), "");
    EXPECT_EQ(*record.text, "No user text");
    EXPECT_EQ(record.text_id, 0U);
}

TEST(EventRecordText, TheDefaultIsOneForAllRecords) {
    EXPECT_EQ(EventRecord().text.get(), EventRecord().text.get());
}

TEST(EventRecordText, TheShortOneIsGivenOrEmpty) {
    EXPECT_STREQ(WithTexts("Antenna fault", "ANT").getShortText(), "ANT");
    EXPECT_STREQ(EventRecord().getShortText(), "");
}

TEST(EventRecordText, OfACopyOutlivesTheOriginal) {
    auto original = std::make_unique<EventRecord>(WithTexts("Antenna fault", "ANT"));

    const EventRecord copy = *original;
    original.reset();

    EXPECT_STREQ(copy.getText("en", nullptr), "Antenna fault");
    EXPECT_STREQ(copy.getShortText(), "ANT");
}
