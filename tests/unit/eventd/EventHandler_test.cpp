// SPDX-License-Identifier: MIT

#include "device/eventd/EventHandler.h"

#include <gmock/gmock.h>

#include "HandlerFixture.h"

// What the signals do. What becomes of the list in the database is in EventHandler_database_test.cpp.

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(Handler, WritesAReportedEventToItsPosition) {
    Restore();

    Send({.ev_id = 66128, .source = 1025, .subsource = 3, .info = 7, .state = 2}, 100);

    EXPECT_EQ(m_database.value(Key(0)).type, CONFIG_TYPE_BINARY);
    EXPECT_EQ(m_database.value(Key(0)).bytes.size(), 32U);
    EXPECT_EQ(Stored(0), (UserEvent{.state = 2,
                                    .ev_id = 66128,
                                    .source = 1025,
                                    .subsource = 3,
                                    .info = 7,
                                    .on_time = 100,
                                    .ev_time = 100}));
}

TEST_F(Handler, WritesAnEventWithTheSeverityOfItsDefinition) {
    Restore();
    Define(Row(66128, 1) + Row(67993, 2));

    Send(On(67993));
    Send(On(66128));

    EXPECT_EQ(Stored(0).severity, 2);
    EXPECT_EQ(Stored(1).severity, 1);
}

TEST_F(Handler, KeepsAnEventThatNobodyDefinedWithSeverityZero) {
    Restore();

    Send(On(5));

    EXPECT_EQ(Stored(0).severity, 0);
}

TEST_F(Handler, ALaterDefinitionHoldsFromTheNextReportOn) {
    Restore();
    Define(Row(5, 1));
    Send(On(5));

    Define(Row(5, 3));
    EXPECT_EQ(Stored(0).severity, 1);

    Send(On(5));
    EXPECT_EQ(Stored(0).severity, 3);
}

TEST_F(Handler, WritesNothingWhenNothingChanged) {
    Restore();
    Send(On(5));
    static_cast<void>(Writes());

    Send(On(5));
    Send(Off(6));

    EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(Handler, ClearZeroEndsEveryActiveEventEachInItsOwnWrite) {
    Restore();
    for (uint32_t ev_id = 1; ev_id <= 12; ++ev_id) {
        Send(On(ev_id));
    }
    static_cast<void>(Writes());

    Clear("0\0"s, 130);

    const auto writes = Writes();
    ASSERT_THAT(writes, SizeIs(12));
    for (unsigned n = 0; n < 12; ++n) {
        EXPECT_EQ(writes[n], Key(n) + " ");
        EXPECT_EQ(Stored(n).state, kEventStateOff);
        EXPECT_EQ(Stored(n).ev_time, 130U);
    }
}

TEST_F(Handler, ClearEndsTheEventsOfItsNumber) {
    Restore();
    Send(On(5));
    Send(On(6));

    Clear("6\0"s);

    EXPECT_EQ(Stored(0).state, kEventStateOn);
    EXPECT_EQ(Stored(1).state, kEventStateOff);
}

TEST_F(Handler, LogsAndIgnoresWhatItCannotUnderstand) {
    Restore();
    Send(On(5));
    static_cast<void>(Writes());

    m_handler.handle_signal("event_handler.forwardEventReport", "short", 100);
    Send(Report(6, 77));
    Define("part of a row");
    Clear("everything");
    m_handler.handle_signal("event_handler.nonsense", "", 100);
    m_handler.handle_signal("", "", 100);

    EXPECT_THAT(Writes(), IsEmpty());
    EXPECT_THAT(m_handler.list().events(), SizeIs(1));
    EXPECT_EQ(m_log.countOf("4 eventd: signal "), 6);
    EXPECT_TRUE(m_log.has("4 eventd: signal 'event_handler.forwardEventReport' of 5 bytes had no effect"));
}

TEST_F(Handler, ASignalsNameCannotMakeALogLineOfItsOwn) {
    Restore();

    m_handler.handle_signal("event_handler.\n3 forged", "", 100);

    EXPECT_TRUE(m_log.has("4 eventd: signal 'event_handler.?3 forged' of 0 bytes had no effect"));
}

TEST_F(Handler, ADefinitionWithABadRowDefinesNothing) {
    Restore();

    Define(Row(5, 2) + Row(6, 9));
    Send(On(5));

    EXPECT_EQ(Stored(0).severity, 0);
}

TEST_F(Handler, TakesAThousandDefinitionsAndNoMore) {
    Restore();
    std::string rows;
    for (uint32_t ev_id = 1; ev_id <= 1001; ++ev_id) {
        rows += Row(ev_id, 2);
    }

    Define(rows);
    Define(Row(1000, 3));
    Send(On(1000));
    Send(On(1001));

    EXPECT_EQ(Stored(0).severity, 3);
    EXPECT_EQ(Stored(1).severity, 0);
    EXPECT_TRUE(m_log.has("4 eventd: event 1001 is one definition too many"));
}
