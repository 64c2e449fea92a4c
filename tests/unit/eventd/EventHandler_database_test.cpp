// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include "HandlerFixture.h"

// How the list and the definitions are read back, and kept in a database that comes, goes and loses them.

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

TEST_F(Handler, GoesOnWithTheListOfTheDatabase) {
    Store(0, ActiveEvent(5));
    Store(1, ActiveEvent(6));
    Restore();

    Send(Off(6), 100);
    Send(On(7), 100);

    EXPECT_EQ(Stored(1).state, kEventStateOff);
    EXPECT_EQ(Stored(1).on_time, 50U);
    EXPECT_EQ(Stored(2).ev_id, 7U);
}

TEST_F(Handler, ReadsAListOfTwoHundred) {
    for (unsigned n = 0; n < 200; ++n) {
        Store(n, ActiveEvent(1000 + n));
    }
    Restore();

    EXPECT_THAT(m_handler.list().events(), SizeIs(200));
    EXPECT_EQ(m_handler.list().events()[199].ev_id, 1199U);
}

TEST_F(Handler, DoesNotWriteAListThatItHasJustRead) {
    Store(0, ActiveEvent(5));

    Restore();

    EXPECT_THAT(Writes(), IsEmpty());
}

TEST_F(Handler, DefinitionsOutliveIt) {
    Restore();
    Define(Row(6, 3) + Row(5, 2));
    EXPECT_EQ(Severities(), Row(5, 2) + Row(6, 3));

    EventHandler next;
    ASSERT_TRUE(next.restore());
    next.handle_signal("event_handler.forwardEventReport", TextOf(event_report_encode(On(5))), 100);

    EXPECT_EQ(Stored(0).severity, 2);
}

TEST_F(Handler, ADefinitionCountsForMoreThanOneThatIsReadAfterIt) {
    m_database.setBinary(kSeveritiesKey, Row(5, 2) + Row(6, 2));
    Define(Row(5, 1));
    Restore();

    EXPECT_EQ(Severities(), Row(5, 1) + Row(6, 2));
}

TEST_F(Handler, KeepsNoMoreDefinitionsThanItCanReadBack) {
    std::string stored;
    std::string announced;
    for (uint32_t n = 1; n <= 1000; ++n) {
        stored += Row(n, 1);
        announced += Row(10000 + n, 2);
    }
    m_database.setBinary(kSeveritiesKey, stored);
    Define(announced);
    Restore();

    EXPECT_EQ(Severities(), announced);
}

TEST_F(Handler, LostDefinitionsAreWrittenAgain) {
    Restore();
    Define(Row(5, 1));
    ForgetAll();

    m_handler.check_database();

    EXPECT_EQ(Severities(), Row(5, 1));
}

TEST_F(Handler, RubbishInThePlaceOfTheDefinitionsIsNone) {
    m_database.setBinary(kSeveritiesKey, Row(5, 2) + "rubbish");
    Restore();

    Send(On(5));

    EXPECT_EQ(Stored(0).severity, 0);
}

TEST_F(Handler, AForeignValueEndsTheListWhichIsWrittenAnew) {
    Store(0, ActiveEvent(5));
    Store(1, ActiveEvent(6));
    m_database.setBinary(Key(2), "foreign");
    Store(3, ActiveEvent(7));
    Restore();

    EXPECT_THAT(Writes(), ElementsAre(Key(0) + " ", Key(1) + " "));
    EXPECT_EQ(Stored(1).ev_id, 6U);
    EXPECT_FALSE(IsStored(2));
    EXPECT_FALSE(IsStored(3));
}

TEST_F(Handler, AnotherVersionIsAForeignValue) {
    UserEvent newer = ActiveEvent(5);
    newer.version = 3;
    Store(0, newer);
    Restore();
    waitForDatabase();

    EXPECT_THAT(m_handler.list().events(), IsEmpty());
    EXPECT_FALSE(IsStored(0));
}

TEST_F(Handler, AnotherMagicIsAForeignValue) {
    UserEvent other = ActiveEvent(5);
    other.magic = 1;
    Store(0, other);
    Restore();
    waitForDatabase();

    EXPECT_FALSE(IsStored(0));
}

TEST_F(Handler, ATextInTheListIsAForeignValue) {
    m_database.setString(Key(0), "0123456789012345678901234567890");
    Restore();
    waitForDatabase();

    EXPECT_FALSE(IsStored(0));
}

TEST_F(Handler, AValueBehindAGapIsTakenAway) {
    Store(0, ActiveEvent(5));
    Store(2, ActiveEvent(7));
    Restore();
    waitForDatabase();

    EXPECT_THAT(m_handler.list().events(), SizeIs(1));
    EXPECT_TRUE(IsStored(0));
    EXPECT_FALSE(IsStored(2));
}

TEST_F(Handler, SignalsWaitForTheList) {
    Store(0, ActiveEvent(5));
    m_database.answer(false);
    ASSERT_FALSE(m_handler.restore());
    Define(Row(6, 2));
    Send(Off(5), 80);
    Send(On(6), 90);
    Clear("6\0"s, 95);
    EXPECT_THAT(m_handler.list().events(), IsEmpty());

    m_database.answer(true);
    Restore();

    EXPECT_EQ(Stored(0).state, kEventStateOff);
    EXPECT_EQ(Stored(0).ev_time, 80U);
    EXPECT_EQ(Stored(1), (UserEvent{.severity = 2, .state = 1, .ev_id = 6, .on_time = 90, .ev_time = 95}));
}

TEST_F(Handler, OnlyAThousandSignalsWait) {
    m_database.answer(false);
    ASSERT_FALSE(m_handler.restore());
    for (uint32_t info = 1; info <= 1001; ++info) {
        Send(On(5, info));
    }
    m_database.answer(true);
    Restore();

    EXPECT_EQ(Stored(0).info, 1000U);
    EXPECT_EQ(m_log.countOf("4 eventd: too many signals before the database is there"), 1);
}

TEST_F(Handler, ALostListIsWrittenAgainInOrderBeforeTheNextEvent) {
    Restore();
    for (uint32_t ev_id = 1; ev_id <= 11; ++ev_id) {
        Send(On(ev_id));
    }
    static_cast<void>(Writes());
    ForgetAll();

    Send(On(12));

    const auto writes = Writes();
    ASSERT_THAT(writes, SizeIs(12));
    for (unsigned n = 0; n < 12; ++n) {
        EXPECT_EQ(writes[n], Key(n) + " ");
        EXPECT_EQ(Stored(n).ev_id, n + 1);
    }
    EXPECT_TRUE(
        m_log.has("4 eventd: the list in the database is not what was written: writing all 12 events again"));
}

TEST_F(Handler, ALostListIsWrittenAgainWithoutAnEvent) {
    Restore();
    Send(On(5));
    ForgetAll();

    m_handler.check_database();

    EXPECT_EQ(Stored(0).ev_id, 5U);
}

TEST_F(Handler, ACheckOfADatabaseThatHasTheListWritesNothing) {
    Restore();
    Send(On(5));
    static_cast<void>(Writes());

    m_handler.check_database();

    EXPECT_THAT(Writes(), IsEmpty());
}

// All of it, for readers that have read it up to the hole only.
TEST_F(Handler, AListWithAHoleIsWrittenAgainInOrder) {
    Restore();
    for (uint32_t ev_id = 1; ev_id <= 4; ++ev_id) {
        Send(On(ev_id));
    }
    static_cast<void>(Writes());
    m_database.erase(Key(2));

    m_handler.check_database();

    EXPECT_THAT(Writes(), ElementsAre(Key(0) + " ", Key(1) + " ", Key(2) + " ", Key(3) + " "));
    EXPECT_EQ(Stored(2).ev_id, 3U);
    EXPECT_TRUE(
        m_log.has("4 eventd: the list in the database is not what was written: writing all 4 events again"));
}

TEST_F(Handler, AForeignValueInTheStoredListIsOverwritten) {
    Restore();
    Send(On(1));
    Send(On(2));
    m_database.setString(Key(0), "foreign");

    m_handler.check_database();

    waitForDatabase();
    EXPECT_EQ(Stored(0).ev_id, 1U);
    EXPECT_EQ(m_database.value(Key(0)).type, CONFIG_TYPE_BINARY);
}

TEST_F(Handler, AnAlteredEventInTheStoredListIsOverwritten) {
    Restore();
    Send(On(1));
    Store(0, ActiveEvent(99));

    m_handler.check_database();

    waitForDatabase();
    EXPECT_EQ(Stored(0).ev_id, 1U);
}

TEST_F(Handler, AValueBehindTheEndOfTheListIsTakenAway) {
    Restore();
    Send(On(1));
    Store(1, ActiveEvent(99));
    m_database.setBinary(Key(5), "foreign");

    m_handler.check_database();

    waitForDatabase();
    EXPECT_TRUE(IsStored(0));
    EXPECT_FALSE(IsStored(1));
    EXPECT_FALSE(IsStored(5));
}

TEST_F(Handler, WhatTheDatabaseMissedIsWrittenWhenItAnswersAgain) {
    Restore();
    Send(On(5));
    m_database.answer(false);
    Send(Off(5), 120);
    Send(On(6), 130);
    m_handler.check_database();
    EXPECT_FALSE(IsStored(1));

    m_database.answer(true);
    m_handler.check_database();

    EXPECT_EQ(Stored(0).state, kEventStateOff);
    EXPECT_EQ(Stored(1).ev_id, 6U);
}

TEST_F(Handler, LogsOnceThatTheDatabaseIsAwayAndOnceThatItIsBack) {
    Restore();
    m_database.answer(false);
    Send(On(5));
    m_handler.check_database();
    m_handler.check_database();
    m_database.answer(true);
    m_handler.check_database();
    m_handler.check_database();

    EXPECT_EQ(m_log.count("4 eventd: the database does not take the list; trying again"), 1);
    EXPECT_EQ(m_log.count("5 eventd: the list is in the database again"), 1);
}

TEST_F(Handler, AFullListDoesNotGrow) {
    for (unsigned n = 0; n < 200; ++n) {
        Store(n, ActiveEvent(1000 + n));
    }
    Restore();

    Send(On(5));
    EXPECT_FALSE(IsStored(200));

    Send(Off(1007));
    Send(On(5));
    EXPECT_EQ(Stored(7).ev_id, 5U);
    EXPECT_FALSE(IsStored(200));
}
