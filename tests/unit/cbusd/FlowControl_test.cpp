// SPDX-License-Identifier: MIT

#include "device/cbusd/FlowControl.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using Kind = FlowControl::Kind;

namespace {

constexpr ClientId kWriter = 1;
constexpr ClientId kReceiver = 2;
constexpr ClientId kOther = 3;

// Nearly empty below 10, full above 40, over above 160 until 80.
class Flow : public testing::Test {
  protected:
    void Ask(ClientId origin, ClientId provider) {
        EXPECT_TRUE(m_pending.add({origin, provider, {CBUS_REQUEST, 0, 0, 0, 0, 0}, "", 0}));
        m_flow.note_asked(provider);
    }

    PendingRequests m_pending;
    FlowControl m_flow{{10, 40, 80, 160}, m_pending};
};

}  // namespace

TEST_F(Flow, HoldsNobodyUpToTheLimit) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 40, 0);

    EXPECT_FALSE(m_flow.is_held(kWriter));
    EXPECT_THAT(m_flow.take_changed(), IsEmpty());
}

TEST_F(Flow, HoldsWhoWritesIntoAFullQueueUntilThatIsNearlyEmpty) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);
    EXPECT_TRUE(m_flow.is_held(kWriter));
    EXPECT_THAT(m_flow.take_changed(), testing::Contains(kWriter));

    m_flow.note_taken(kReceiver, 10);
    EXPECT_TRUE(m_flow.is_held(kWriter));

    m_flow.note_taken(kReceiver, 9);
    EXPECT_FALSE(m_flow.is_held(kWriter));
    EXPECT_THAT(m_flow.take_changed(), testing::Contains(kWriter));
}

TEST_F(Flow, DoesNotHoldTheReceiverOrABystander) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);

    EXPECT_FALSE(m_flow.is_held(kReceiver));
    EXPECT_FALSE(m_flow.is_held(kOther));
    EXPECT_TRUE(m_flow.is_holding_somebody(kReceiver));
    EXPECT_FALSE(m_flow.is_holding_somebody(kWriter));
}

TEST_F(Flow, HoldsAWriterUntilAllOfItsReceiversHaveTakenTheirs) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);
    m_flow.note_written(kWriter, kOther, Kind::kOther, 41, 0);

    m_flow.note_taken(kReceiver, 0);
    EXPECT_TRUE(m_flow.is_held(kWriter));

    m_flow.remove_receiver(kOther);
    EXPECT_FALSE(m_flow.is_held(kWriter));
}

TEST_F(Flow, ListensToWhoOwesSomebodyElseAReply) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);
    EXPECT_THAT(m_flow.take_changed(), testing::Contains(kWriter));

    Ask(kOther, kWriter);

    EXPECT_THAT(m_flow.take_changed(), ElementsAre(kWriter));
    EXPECT_FALSE(m_flow.is_held(kWriter));
}

TEST_F(Flow, DoesNotListenForTheSakeOfTheReceiverItself) {
    m_flow.note_written(kWriter, kReceiver, Kind::kReply, 41, 0);

    Ask(kReceiver, kWriter);

    EXPECT_TRUE(m_flow.is_held(kWriter));
}

TEST_F(Flow, ListensToTwoThatFillEachOthersQueues) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);
    m_flow.note_written(kReceiver, kWriter, Kind::kOther, 41, 0);

    EXPECT_FALSE(m_flow.is_held(kWriter));
    EXPECT_FALSE(m_flow.is_held(kReceiver));
}

TEST_F(Flow, HoldsEverybodyOnAReceiverThatIsOverTheUpperLimitUntilItIsWellBelow) {
    Ask(kOther, kWriter);
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 161, 0);
    EXPECT_TRUE(m_flow.is_held(kWriter));

    m_flow.note_taken(kReceiver, 81);
    EXPECT_TRUE(m_flow.is_held(kWriter));

    m_flow.note_taken(kReceiver, 80);
    EXPECT_FALSE(m_flow.is_held(kWriter));
}

TEST_F(Flow, NamesWhoDoesNotTakeItsRepliesWhileOthersWait) {
    m_flow.note_written(kWriter, kReceiver, Kind::kReply, 161, 0);
    EXPECT_FALSE(m_flow.receiver_in_the_way_of(kWriter));

    Ask(kOther, kWriter);

    EXPECT_EQ(m_flow.receiver_in_the_way_of(kWriter), kReceiver);
}

TEST_F(Flow, NamesNobodyWhoWasSentSignals) {
    Ask(kOther, kWriter);

    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 161, 0);

    EXPECT_FALSE(m_flow.receiver_in_the_way_of(kWriter));
}

TEST_F(Flow, ForgetsAClientOnBothSides) {
    m_flow.note_written(kWriter, kReceiver, Kind::kOther, 41, 0);
    m_flow.note_written(kOther, kWriter, Kind::kOther, 41, 0);

    m_flow.remove_client(kWriter);

    EXPECT_FALSE(m_flow.is_held(kOther));
    EXPECT_FALSE(m_flow.is_holding_somebody(kReceiver));
    EXPECT_FALSE(m_flow.is_blocked_on(kWriter, kReceiver));
}
