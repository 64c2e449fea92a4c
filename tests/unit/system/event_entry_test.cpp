// SPDX-License-Identifier: MIT

#include "src/system/event_entry.h"

#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "events/EventRecord.h"
#include "events/event_wire.h"
#include "tests/support/RpcFakes.h"

namespace {

// WARNING 7, since 100, changed last at 120.
EventRecord warning() {
    EventRecord record;
    record.ev_id = 7;
    record.state = kEventStateOn;
    record.severity = kEventSeverityWarning;
    record.info = 3;
    record.on_time = 100;
    record.ev_time = 120;
    return record;
}

std::string entryOf(const EventRecord& record) {
    return print_compact(event_entry_create(record).get());
}

std::string entryOfState(uint32_t state) {
    EventRecord record = warning();
    record.state = state;
    return entryOf(record);
}

std::string entryOfSeverity(uint32_t severity) {
    EventRecord record = warning();
    record.severity = severity;
    return entryOf(record);
}

constexpr uint32_t kMax = std::numeric_limits<uint32_t>::max();

}  // namespace

TEST(EventEntry, HasSixAttributesInOrder) {
    EXPECT_EQ(entryOf(warning()),
              R"({"ev_id":7,"state":"ON","severity":"WARNING","info":3,"ev_time":120,"on_time":100})");
}

TEST(EventEntry, NamesTheThreeStates) {
    EXPECT_STREQ(event_entry_state_text(1), "OFF");
    EXPECT_STREQ(event_entry_state_text(2), "ON");
    EXPECT_STREQ(event_entry_state_text(3), "NONE");
}

TEST(EventEntry, HasNoTextForOtherStates) {
    for (const int state : {0, 4, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(event_entry_state_text(state), nullptr) << state;
    }
}

TEST(EventEntry, NamesTheSeverities) {
    EXPECT_STREQ(event_entry_severity_text(0), "INFO");
    EXPECT_STREQ(event_entry_severity_text(1), "WARNING");
    EXPECT_STREQ(event_entry_severity_text(2), "ERROR");
}

TEST(EventEntry, ShowsAFatalEventAsAnError) {
    EXPECT_STREQ(event_entry_severity_text(3), "ERROR");
    EXPECT_EQ(entryOfSeverity(3),
              R"({"ev_id":7,"state":"ON","severity":"ERROR","info":3,"ev_time":120,"on_time":100})");
}

TEST(EventEntry, HasNoTextForOtherSeverities) {
    for (const int severity :
         {4, 255, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        EXPECT_EQ(event_entry_severity_text(severity), nullptr) << severity;
    }
}

TEST(EventEntry, IsNotMadeForARecordWithoutAStateText) {
    for (const uint32_t state : {0U, 4U, 255U, kMax}) {
        EXPECT_EQ(entryOfState(state), "") << state;
    }
}

TEST(EventEntry, IsNotMadeForARecordWithoutASeverityText) {
    for (const uint32_t severity : {4U, 255U, kMax}) {
        EXPECT_EQ(entryOfSeverity(severity), "") << severity;
    }
}

TEST(EventEntry, AddsTheTimeOffsetToBothTimes) {
    EventRecord record = warning();
    record.time_offset = -1;

    EXPECT_EQ(entryOf(record),
              R"({"ev_id":7,"state":"ON","severity":"WARNING","info":3,"ev_time":119,"on_time":99})");
}

TEST(EventEntry, DoesNotWrapATimeBelowZero) {
    EventRecord record = warning();
    record.on_time = 0;
    record.time_offset = -1;

    EXPECT_EQ(entryOf(record),
              R"({"ev_id":7,"state":"ON","severity":"WARNING","info":3,"ev_time":119,"on_time":-1})");
}

TEST(EventEntry, ShowsTheLargestNumbersWhole) {
    EventRecord record = warning();
    record.ev_id = record.info = record.ev_time = record.on_time = kMax;

    EXPECT_EQ(entryOf(record), R"({"ev_id":4294967295,"state":"ON","severity":"WARNING","info":4294967295,)"
                               R"("ev_time":4294967295,"on_time":4294967295})");
}

TEST(EventEntry, ShowsTimesThatAreNotKnownAsNull) {
    const JsonPtr entry = event_entry_create(EventEntry{.ev_id = 1, .state = "OFF", .severity = "INFO"});

    EXPECT_EQ(print_compact(entry.get()),
              R"({"ev_id":1,"state":"OFF","severity":"INFO","info":0,"ev_time":null,"on_time":null})");
}
