// SPDX-License-Identifier: MIT

#include "device/cbusd/StallWatch.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Stalling : public testing::Test {
  protected:
    StallWatch m_watch{100};
};

}  // namespace

TEST_F(Stalling, BeginsWhenMoreThanTheLimitWaits) {
    m_watch.note_written(1, 100, 0);
    m_watch.note_written(2, 101, 50);

    EXPECT_THAT(m_watch.stalled(1059, 1010), IsEmpty());
    EXPECT_THAT(m_watch.stalled(1060, 1010), ElementsAre(2));
}

TEST_F(Stalling, IsNotPutOffByWritingMore) {
    m_watch.note_written(1, 101, 0);
    m_watch.note_written(1, 500, 900);

    EXPECT_THAT(m_watch.stalled(1000, 1000), ElementsAre(1));
}

TEST_F(Stalling, BeginsAnewWithWhatWasTaken) {
    m_watch.note_written(1, 500, 0);
    m_watch.note_taken(1, 400, 900);

    EXPECT_THAT(m_watch.stalled(1899, 1000), IsEmpty());
    EXPECT_THAT(m_watch.stalled(1900, 1000), ElementsAre(1));
}

TEST_F(Stalling, EndsAtTheLimit) {
    m_watch.note_written(1, 500, 0);
    m_watch.note_taken(1, 100, 900);

    EXPECT_THAT(m_watch.stalled(9999, 1000), IsEmpty());
}

TEST_F(Stalling, IsToldOfTheLongestFirstAcrossTheWrapOfTheClock) {
    m_watch.note_written(1, 101, 5);
    m_watch.note_written(2, 101, UINT32_MAX - 5);

    EXPECT_THAT(m_watch.stalled(100, 50), ElementsAre(2, 1));
}

TEST_F(Stalling, MayBeForgottenOrBegunAnew) {
    m_watch.note_written(1, 101, 0);
    m_watch.note_written(2, 101, 0);

    m_watch.remove(1);
    m_watch.restart(2, 500);
    m_watch.restart(3, 500);

    EXPECT_THAT(m_watch.stalled(1000, 600), IsEmpty());
    EXPECT_THAT(m_watch.stalled(1100, 600), ElementsAre(2));
}
