// SPDX-License-Identifier: MIT

#include "device/cbusd/SlowReceivers.h"

#include <gmock/gmock.h>

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using Kind = FlowControl::Kind;

namespace {

constexpr ClientId kWriter = 1;
constexpr ClientId kReceiver = 2;
constexpr ClientId kSecondWriter = 3;

// Full above 400 until below 100; stalled above 800 after 10, and 60 in which to take 300.
class Slowness : public testing::Test {
  protected:
    void Write(ClientId writer, size_t waiting_bytes, uint32_t now_ms) {
        m_flow.note_written(writer, kReceiver, Kind::kOther, waiting_bytes, now_ms);
        m_slow.note_written(kReceiver, waiting_bytes, now_ms);
    }
    void Take(size_t waiting_bytes, uint32_t now_ms) {
        m_flow.note_taken(kReceiver, waiting_bytes);
        m_slow.note_taken(kReceiver, waiting_bytes, now_ms);
    }
    // Takes a little every 5 from one time to another, and leaves so much waiting.
    void Trickle(size_t waiting_bytes, uint32_t from_ms, uint32_t to_ms) {
        for (uint32_t now_ms = from_ms; now_ms <= to_ms; now_ms += 5) {
            Take(waiting_bytes, now_ms);
        }
    }
    [[nodiscard]] std::vector<ClientId> SlowAt(uint32_t now_ms) const {
        std::vector<ClientId> ids;
        for (const SlowReceivers::Slow& slow : m_slow.at(now_ms)) {
            ids.push_back(slow.id);
        }
        return ids;
    }

    PendingRequests m_pending;
    FlowControl m_flow{{100, 400, 1600, 3200}, m_pending};
    SlowReceivers m_slow{{800, 10, 60}, m_flow};
};

}  // namespace

TEST_F(Slowness, IsToTakeNothingWhileTooMuchWaits) {
    Write(kWriter, 801, 0);

    EXPECT_THAT(SlowAt(9), IsEmpty());
    EXPECT_THAT(m_slow.at(10), ElementsAre(Field(&SlowReceivers::Slow::how, "has taken nothing for 0 s")));
}

TEST_F(Slowness, IsToTakeNothingForLongWhileSomebodyWaits) {
    Write(kWriter, 401, 0);

    EXPECT_THAT(SlowAt(59), IsEmpty());
    EXPECT_THAT(SlowAt(60), Contains(kReceiver));
}

TEST_F(Slowness, IsNotToTakeNothingWhileNobodyWaits) {
    Write(kWriter, 400, 0);

    EXPECT_THAT(SlowAt(10'000), IsEmpty());
}

TEST_F(Slowness, IsToTakeTooLittleWhileSomebodyWaits) {
    Write(kWriter, 401, 0);
    Trickle(300, 5, 55);

    EXPECT_THAT(SlowAt(59), IsEmpty());
    EXPECT_THAT(m_slow.at(60),
                ElementsAre(Field(&SlowReceivers::Slow::how, "has kept others waiting for 0 s")));
}

TEST_F(Slowness, HasTheMoreTimeTheMoreWaits) {
    Write(kWriter, 700, 0);
    Trickle(300, 5, 115);

    EXPECT_THAT(SlowAt(119), IsEmpty());
    EXPECT_THAT(SlowAt(120), ElementsAre(kReceiver));
}

TEST_F(Slowness, HasTheTimeOfTheMostThatWaited) {
    Write(kWriter, 401, 0);
    Write(kSecondWriter, 1000, 30);
    Trickle(500, 35, 175);

    EXPECT_THAT(SlowAt(179), IsEmpty());
    EXPECT_THAT(SlowAt(180), ElementsAre(kReceiver));
}

TEST_F(Slowness, BeginsAnewOnceAlmostAllIsTaken) {
    Write(kWriter, 401, 0);
    Take(99, 50);
    Write(kWriter, 401, 55);
    Trickle(300, 60, 110);

    EXPECT_THAT(SlowAt(114), IsEmpty());
    EXPECT_THAT(SlowAt(115), ElementsAre(kReceiver));
}

TEST_F(Slowness, BeginsAnewWithTheNextWriterWhenTheOnesThatWaitedHaveGone) {
    Write(kWriter, 401, 0);
    Trickle(300, 5, 50);
    m_flow.remove_client(kWriter);
    Trickle(300, 55, 95);
    EXPECT_THAT(SlowAt(100), IsEmpty());

    Write(kSecondWriter, 401, 100);
    Trickle(300, 105, 155);

    EXPECT_THAT(SlowAt(159), IsEmpty());
    EXPECT_THAT(SlowAt(160), ElementsAre(kReceiver));
}

TEST_F(Slowness, IsForgivenByARestart) {
    Write(kWriter, 401, 0);
    ASSERT_THAT(SlowAt(61), ElementsAre(kReceiver, kReceiver));

    m_slow.restart(kReceiver, 61);

    EXPECT_THAT(SlowAt(120), IsEmpty());
    EXPECT_THAT(SlowAt(122), Contains(kReceiver));
}

TEST_F(Slowness, IsForgottenWithTheReceiver) {
    Write(kWriter, 801, 0);

    m_flow.remove_client(kReceiver);
    m_slow.remove(kReceiver);

    EXPECT_THAT(SlowAt(10'000), IsEmpty());
}
