// SPDX-License-Identifier: MIT

#include "Sequence.h"

#include "gtest/gtest.h"

namespace {

class HeardNumbers : public testing::Test {
  protected:
    void Hear(std::initializer_list<long> numbers) {
        for (const long number : numbers) {
            m_sequence.hear(number);
        }
    }

    Tally m_tally;
    Sequence m_sequence{m_tally, "test"};
};

}  // namespace

TEST_F(HeardNumbers, MayBeginAnywhere) {
    Hear({5, 6, 7});

    EXPECT_TRUE(m_tally.isClean());
    EXPECT_EQ(m_sequence.last(), 7);
}

TEST_F(HeardNumbers, OnesLeftOutAreLost) {
    Hear({5, 8});

    EXPECT_EQ(m_tally.lost(), 2);
    EXPECT_EQ(m_tally.doubled(), 0);
}

TEST_F(HeardNumbers, OneThatComesAgainIsDoubled) {
    Hear({5, 6, 5, 6, 7});

    EXPECT_EQ(m_tally.doubled(), 2);
    EXPECT_EQ(m_tally.lost(), 0);
}
