// SPDX-License-Identifier: MIT

#include <thread>

#include "AllocationFailure.h"
#include "events/EventManager.h"
#include "tests/support/EventFixture.h"

namespace {

const UserEvent kOn = Event(10, kEventStateOn, kEventSeverityWarning);
const UserEvent kOff = Event(10, kEventStateOff, kEventSeverityWarning);

}  // namespace

using EventStoreRestore = EventFixture;
using EventStoreRestoring = EventFixture;
// What the database sends while the store is being restored.
using EventStoreRestoreRace = EventFixture;

TEST_F(EventStoreRestore, ReadsTheListUpToTheFirstMissingValue) {
    for (const unsigned position : {0U, 1U, 2U, 5U, 6U}) {
        Store(position, Event(10 + position, kEventStateOn, kEventSeverityWarning));
    }
    EventStore store(10);

    store.restore();

    EXPECT_EQ(IdsOf(store), (std::vector<uint32_t>{10, 11, 12}));
    EXPECT_FALSE(store.isRestoring());
}

TEST_F(EventStoreRestore, OfAnEmptyListLeavesTheStoreEmptyAndReady) {
    EventStore store(10);

    store.restore();

    EXPECT_EQ(store.count(), 0U);
    EXPECT_FALSE(store.isRestoring());
    EXPECT_TRUE(Log().empty());
}

TEST_F(EventStoreRestore, LooksUpTheTexts) {
    SetTexts(10, "Antenna fault", "ANT");
    Store(0, kOn);
    EventStore store(10);

    store.restore();

    ASSERT_EQ(store.count(), 1U);
    EXPECT_STREQ(store.first(nullptr)->getText("en", nullptr), "Antenna fault");
    EXPECT_STREQ(store.first(nullptr)->getShortText(), "ANT");
}

TEST_F(EventStoreRestore, ReadsAsManyAsTheCapacity) {
    for (unsigned position = 0; position < 6; ++position) {
        Store(position, Event(10 + position, kEventStateOn, kEventSeverityWarning));
    }
    EventStore store(4);

    store.restore();

    EXPECT_EQ(IdsOf(store), (std::vector<uint32_t>{10, 11, 12, 13}));
}

TEST_F(EventStoreRestore, AValueOfAnotherVersionMakesItTheResultOfTheRead) {
    UserEvent foreign = kOn;
    foreign.version = 3;
    Store(0, kOn);
    Store(1, foreign);
    Store(2, kOn);
    EventStore store(10);

    store.restore();

    EXPECT_EQ(store.count(), 0U);
    EXPECT_FALSE(store.isRestoring());
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 readEventArr: version mismatch (3/2)\n"}));
}

TEST_F(EventStoreRestore, WithoutADatabaseIsLoggedAndLeavesItRestoring) {
    m_database.answer(false);
    EventStore store(10);

    store.restore();

    EXPECT_TRUE(store.isRestoring());
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 restore read failed\n"}));
}

TEST_F(EventStoreRestore, WithoutMemoryIsLoggedAndLeavesItRestoring) {
    Store(0, kOn);
    EventStore store(10);
    const AllocationFailure failure(0);

    store.restore();

    EXPECT_TRUE(store.isRestoring());
    EXPECT_EQ(store.count(), 0U);
    EXPECT_EQ(Log(), (std::vector<std::string>{"3 restore malloc failed\n"}));
}

TEST_F(EventStoreRestoring, IgnoresEveryChange) {
    EventStore store(10);

    EXPECT_EQ(store.change(0, kOn), nullptr);
    EXPECT_EQ(store.change(7, kOn), nullptr);

    EXPECT_EQ(store.count(), 0U);
    EXPECT_TRUE(SentUnder("config.read.txt.evh.utxt.10").empty());
}

TEST_F(EventStoreRestoring, GoesOnAfterAFailure) {
    m_database.answer(false);
    EventStore store(10);

    store.restore();

    EXPECT_EQ(store.change(0, kOn), nullptr);
    EXPECT_EQ(store.count(), 0U);
}

TEST_F(EventStoreRestoreRace, AnAppendThatTheReadAlreadyHoldsIsNotAppendedTwice) {
    Store(0, kOn);
    Change(1, Event(11, kEventStateOn, kEventSeverityWarning));
    EventManager manager(10);

    manager.emInit();
    Settle();

    EXPECT_EQ(IdsOf(manager.store()), (std::vector<uint32_t>{10, 11}));
}

TEST_F(EventStoreRestoreRace, WhatTheReadAlreadyHoldsEndsAtTheSameValues) {
    Change(0, kOn);
    Change(0, kOff);
    EventManager manager(10);

    manager.emInit();
    EXPECT_EQ(manager.store().first(nullptr)->state, kEventStateOff);
    Settle();

    ASSERT_EQ(manager.store().count(), 1U);
    EXPECT_EQ(manager.store().first(nullptr)->state, kEventStateOff);
}

TEST_F(EventStoreRestoreRace, AnAppendThatArrivesAfterTheReadFindsItsPlace) {
    Store(0, kOn);
    EventManager manager(10);
    bool texts_are_read = false;
    std::thread event_handler([&] {
        texts_are_read = m_database.waitFor("config.read.txt.evh.utxt.10");
        Change(1, Event(11, kEventStateOn, kEventSeverityWarning));
        Change(0, kOff);
    });

    manager.emInit();
    event_handler.join();
    Settle();

    EXPECT_TRUE(texts_are_read);
    EXPECT_EQ(IdsOf(manager.store()), (std::vector<uint32_t>{10, 11}));
    EXPECT_EQ(manager.store().first(nullptr)->state, kEventStateOff);
}
