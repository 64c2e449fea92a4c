// SPDX-License-Identifier: MIT

#include "device/eventd/EventList.h"

#include <gmock/gmock.h>

#include "Events.h"
#include "tests/support/CapturedLog.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Events : public testing::Test {
  protected:
    std::optional<unsigned> Tell(const EventReport& report, uint32_t now_s, uint8_t severity = 1) {
        return m_list.report(report, severity, now_s);
    }
    const UserEvent& At(size_t position) { return m_list.events().at(position); }
    // Active ones, with the identifiers from 1 on, raised at the same seconds.
    void Fill(unsigned count) {
        for (unsigned n = 1; n <= count; ++n) {
            ASSERT_EQ(Tell(On(n), n), n - 1);
        }
    }

    EventList m_list;
};

}  // namespace

TEST_F(Events, ANewOneIsAppended) {
    EXPECT_EQ(Tell(On(10), 100), 0U);
    EXPECT_EQ(Tell(On(11), 100), 1U);

    EXPECT_EQ(m_list.events().size(), 2U);
    EXPECT_EQ(At(1).ev_id, 11U);
}

TEST_F(Events, ANewOneHoldsWhatWasReported) {
    ASSERT_EQ(
        Tell({.ev_id = 66128, .source = 1025, .subsource = 3, .info = 7, .state = kEventStateOn}, 100, 2),
        0U);

    EXPECT_EQ(At(0), (UserEvent{.severity = 2,
                                .state = 2,
                                .ev_id = 66128,
                                .source = 1025,
                                .subsource = 3,
                                .info = 7,
                                .on_time = 100,
                                .ev_time = 100}));
}

TEST_F(Events, AHeldOneUpdatesItsPlace) {
    Fill(3);

    EXPECT_EQ(Tell(Off(2, 9), 100), 1U);

    EXPECT_EQ(m_list.events().size(), 3U);
    EXPECT_EQ(At(1).state, kEventStateOff);
    EXPECT_EQ(At(1).info, 9U);
}

TEST_F(Events, AreToldApartByTheirIdentifier) {
    EXPECT_EQ(Tell(On(10), 100), 0U);
    EXPECT_EQ(Tell(On(11), 100), 1U);
}

TEST_F(Events, AreToldApartByTheirSource) {
    EXPECT_EQ(Tell({.ev_id = 10, .source = 1, .state = kEventStateOn}, 100), 0U);
    EXPECT_EQ(Tell({.ev_id = 10, .source = 2, .state = kEventStateOn}, 100), 1U);
}

TEST_F(Events, AreToldApartByTheirSubsource) {
    EXPECT_EQ(Tell({.ev_id = 10, .subsource = 1, .state = kEventStateOn}, 100), 0U);
    EXPECT_EQ(Tell({.ev_id = 10, .subsource = 2, .state = kEventStateOn}, 100), 1U);
}

TEST_F(Events, TheEndOfOneThatIsNotHeldIsIgnored) {
    EXPECT_EQ(Tell(Off(10), 100), std::nullopt);

    EXPECT_THAT(m_list.events(), IsEmpty());
}

TEST_F(Events, TheEndKeepsTheTimeOfTheBeginning) {
    static_cast<void>(Tell(On(10), 100));

    static_cast<void>(Tell(Off(10), 130));

    EXPECT_EQ(At(0).on_time, 100U);
    EXPECT_EQ(At(0).ev_time, 130U);
}

TEST_F(Events, OneThatGoesOnAgainBeginsThen) {
    static_cast<void>(Tell(On(10), 100));
    static_cast<void>(Tell(Off(10), 130));

    EXPECT_EQ(Tell(On(10), 150), 0U);

    EXPECT_EQ(At(0).on_time, 150U);
    EXPECT_EQ(At(0).ev_time, 150U);
}

TEST_F(Events, OtherInfoIsAChangeButNoBeginning) {
    static_cast<void>(Tell(On(10, 1), 100));

    EXPECT_EQ(Tell(On(10, 2), 120), 0U);

    EXPECT_EQ(At(0).info, 2U);
    EXPECT_EQ(At(0).on_time, 100U);
    EXPECT_EQ(At(0).ev_time, 120U);
}

TEST_F(Events, AnotherSeverityIsAChange) {
    static_cast<void>(Tell(On(10), 100, 0));

    EXPECT_EQ(Tell(On(10), 120, 3), 0U);

    EXPECT_EQ(At(0).severity, 3);
    EXPECT_EQ(At(0).ev_time, 120U);
}

TEST_F(Events, AReportOfWhatIsKnownChangesNothing) {
    static_cast<void>(Tell(On(10, 1), 100));

    EXPECT_EQ(Tell(On(10, 1), 120), std::nullopt);

    EXPECT_EQ(At(0).ev_time, 100U);
}

TEST_F(Events, EachNotificationIsAnOccurrence) {
    EXPECT_EQ(Tell(Notice(10), 100), 0U);
    EXPECT_EQ(Tell(Notice(10), 120), 0U);

    EXPECT_EQ(At(0).on_time, 120U);
    EXPECT_EQ(At(0).ev_time, 120U);
}

TEST_F(Events, ANotificationInTheSameSecondIsAChangeToo) {
    static_cast<void>(Tell(Notice(10), 100));

    EXPECT_EQ(Tell(Notice(10), 100), 0U);
}

TEST_F(Events, EndingZeroEndsAllActiveOnes) {
    Fill(3);
    static_cast<void>(Tell(Off(2), 50));

    EXPECT_THAT(m_list.end(0, 100), ElementsAre(0U, 2U));

    EXPECT_EQ(At(0).state, kEventStateOff);
    EXPECT_EQ(At(0).on_time, 1U);
    EXPECT_EQ(At(0).ev_time, 100U);
    EXPECT_EQ(At(1).ev_time, 50U);
    EXPECT_EQ(At(2).state, kEventStateOff);
}

TEST_F(Events, EndingAnIdentifierEndsItsEventsOfAllSources) {
    static_cast<void>(Tell({.ev_id = 10, .source = 1, .state = kEventStateOn}, 100));
    static_cast<void>(Tell(On(11), 100));
    static_cast<void>(Tell({.ev_id = 10, .source = 2, .state = kEventStateOn}, 100));

    EXPECT_THAT(m_list.end(10, 120), ElementsAre(0U, 2U));

    EXPECT_EQ(At(1).state, kEventStateOn);
}

TEST_F(Events, EndingLeavesNotificationsAlone) {
    static_cast<void>(Tell(Notice(10), 100));

    EXPECT_THAT(m_list.end(0, 120), IsEmpty());

    EXPECT_EQ(At(0).state, kEventStateNone);
}

TEST_F(Events, EndingWhatIsNotHeldChangesNothing) {
    Fill(1);

    EXPECT_THAT(m_list.end(99, 120), IsEmpty());
}

TEST_F(Events, AFullListGivesANewOneThePlaceOfTheOldestEndedOne) {
    Fill(200);
    static_cast<void>(Tell(Off(50), 1001));
    static_cast<void>(Tell(Off(20), 1002));

    EXPECT_EQ(Tell(On(999), 1003), 49U);

    EXPECT_EQ(m_list.events().size(), 200U);
    EXPECT_EQ(At(49), (UserEvent{.severity = 1, .state = 2, .ev_id = 999, .on_time = 1003, .ev_time = 1003}));
    EXPECT_EQ(At(19).ev_id, 20U);
}

TEST_F(Events, OfSeveralThatEndedAtOnceTheFirstGivesItsPlace) {
    Fill(200);
    static_cast<void>(m_list.end(0, 1000));

    EXPECT_EQ(Tell(On(999), 1001), 0U);
    EXPECT_EQ(Tell(On(998), 1001), 1U);
}

TEST_F(Events, ANotificationGivesItsPlaceToo) {
    Fill(199);
    static_cast<void>(Tell(Notice(500), 300));

    EXPECT_EQ(Tell(On(999), 301), 199U);
}

TEST_F(Events, AFullListOfActiveOnesTakesNoNewOne) {
    const CapturedLog log;
    Fill(200);

    EXPECT_EQ(Tell(On(999), 1000), std::nullopt);

    EXPECT_EQ(m_list.events().size(), 200U);
    EXPECT_TRUE(log.has("4 eventd: no place for event 999: all 200 are active"));
}

TEST_F(Events, AFullListStillUpdatesThePlacesOfThoseItHolds) {
    Fill(200);

    EXPECT_EQ(Tell(On(200, 5), 1000), 199U);
}

TEST(EventListFromOutside, TakesAtMostItsCapacity) {
    const EventList list(std::vector<UserEvent>(201));

    EXPECT_EQ(list.events().size(), 200U);
}
