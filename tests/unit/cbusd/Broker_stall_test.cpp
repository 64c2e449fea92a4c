// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <string>

#include "BusFlowFixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

class BusStall : public BusFlow {
  protected:
    explicit BusStall(const BrokerOptions& options = Impatient()) : BusFlow(options) {}

    void FillWithMoreThanEightMebibytes() {
        Flood not_yet_full(m_writer, Signal("s", 4 * kMebi), 1);
        PushUntilStuck(not_yet_full);
        Flood too_much(m_writer, Signal("s", 7 * kMebi), 1);
        PushUntilStuck(too_much);
        ASSERT_TRUE(not_yet_full.IsDone() && too_much.IsDone());
        socket_set_blocking(m_writer.fd(), true);
    }
};

// Time enough for one who takes a little now and then not to be taken for one who takes nothing.
class BusLongerStall : public BusStall {
  protected:
    static BrokerOptions LessImpatient() {
        BrokerOptions options = Patient();
        options.slow.stalled_ms = 400;
        return options;
    }
    BusLongerStall() : BusStall(LessImpatient()) {}
};

class BusHold : public BusFlow {
  protected:
    static BrokerOptions ShortHolding() {
        BrokerOptions options = Patient();
        options.slow.holding_ms = 40;
        return options;
    }
    explicit BusHold(const BrokerOptions& options = ShortHolding()) : BusFlow(options) {}
};

// The same.
class BusTrickle : public BusHold {
  protected:
    static BrokerOptions LongerHolding() {
        BrokerOptions options = Patient();
        options.slow.holding_ms = 400;
        return options;
    }
    BusTrickle() : BusHold(LongerHolding()) {}
};

}  // namespace

TEST_F(BusStall, OneOfTwoThatOnlyWriteToEachOtherIsDisconnectedAndTheOtherGoesOn) {
    Filter(m_receiver, "s");
    Filter(m_writer, "t");
    Flood there(m_writer, Signal("s"));
    Flood back(m_receiver, Signal("t"));
    PushUntilStuck(there);
    PushUntilStuck(back);
    PushUntilStuck(there);
    ASSERT_LT(there.taken() + back.taken(), 40 * kMebi);

    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));

    EXPECT_EQ(m_log.lines().size(), 1u);
    const bool has_writer_gone = m_log.countOf("4 cbusd: " + Named(1)) == 1;
    Flood& survivor = has_writer_gone ? back : there;
    EXPECT_TRUE(RunUntil([&] { return survivor.Push(); }));
}

TEST_F(BusStall, WhoTakesNothingWhileMoreThanEightMebibytesWaitIsDisconnectedWithOneLogLine) {
    Filter(m_receiver, "s");

    FillWithMoreThanEightMebibytes();
    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));

    Settle(m_writer);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(AllOf(
                    StartsWith("4 cbusd: " + Named(2) + " disconnected: has taken nothing for 0 s while "),
                    EndsWith(" bytes wait"))));
}

TEST_F(BusLongerStall, IsNotThatOfOneWhoTakesALittleNowAndThen) {
    Filter(m_receiver, "s");
    FillWithMoreThanEightMebibytes();

    for (int i = 0; i < 24; ++i) {
        RunFor(20);
        Take(m_receiver, 120'000);
    }

    EXPECT_EQ(m_broker->client_count(), 2u);
}

TEST_F(BusStall, LessThanEightMebibytesMayWait) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());

    PushUntilStuck(flood);
    RunFor(100);

    EXPECT_EQ(m_broker->client_count(), 2u);
}

TEST_F(BusHold, WhoHoldsAnotherUpForTooLongWithoutTakingAnythingIsDisconnected) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());

    PushUntilStuck(flood);

    EXPECT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));
    EXPECT_TRUE(RunUntil([&] { return flood.Push(); }));
}

TEST_F(BusHold, WhoHoldsNobodyUpMayTakeItsTime) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal(), 150);

    PushUntilStuck(flood);
    ASSERT_TRUE(flood.IsDone());
    RunFor(100);

    EXPECT_EQ(m_broker->client_count(), 2u);
}

TEST_F(BusTrickle, WhoHoldsAnotherUpAndTakesOnlyALittleNowAndThenIsDisconnected) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    socket_set_blocking(m_receiver.fd(), false);
    for (int i = 0; i < 200 && m_broker->client_count() == 2; ++i) {
        m_receiver.ReceiveBytes(65536);
        RunFor(20);
    }

    EXPECT_THAT(m_log.lines(),
                ElementsAre(AllOf(StartsWith("4 cbusd: " + Named(2) +
                                             " disconnected: has kept others waiting for 0 s while "),
                                  EndsWith(" bytes wait"))));
    EXPECT_TRUE(RunUntil([&] { return flood.Push(); }));
}
