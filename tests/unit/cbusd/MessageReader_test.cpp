// SPDX-License-Identifier: MIT

#include "device/cbusd/MessageReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/BusPeer.h"

namespace {

using Result = MessageReader::Result;

class MessageReading : public testing::Test {
  protected:
    // Gives the reader the bytes in pieces of at most `piece` and notes each message's name and data.
    Result Feed(const std::string& bytes, size_t piece = SIZE_MAX) {
        Result result = Result::kIncomplete;
        for (size_t given = 0; given < bytes.size();) {
            const std::span<char> room = m_reader.room();
            const size_t n = std::min({piece, room.size(), bytes.size() - given});
            std::copy_n(bytes.data() + given, n, room.data());
            m_reader.commit(n);
            given += n;
            BusMessage message;
            while ((result = m_reader.next(message)) == Result::kMessage) {
                m_seen.push_back(std::string(message.name) + "=" +
                                 std::string(message.data.begin(), message.data.end()));
            }
        }
        return result;
    }

    MessageReader m_reader;
    std::vector<std::string> m_seen;
};

using Strings = std::vector<std::string>;

}  // namespace

TEST_F(MessageReading, CutsSeveralMessagesOutOfOnePiece) {
    EXPECT_EQ(
        Feed(Bytes({1, 0, 0, 0, "a", "1"}) + Bytes({2, 0, 0, 0, "", "22"}) + Bytes({3, 0, 0, 0, "c", ""})),
        Result::kIncomplete);

    EXPECT_EQ(m_seen, (Strings{"a=1", "=22", "c="}));
}

TEST_F(MessageReading, PutsAMessageTogetherFromSingleBytes) {
    Feed(Bytes({1, 0, 0, 0, "name", "data"}) + Bytes({1, 0, 0, 0, "n", "d"}), 1);

    EXPECT_EQ(m_seen, (Strings{"name=data", "n=d"}));
}

TEST_F(MessageReading, TheBodyIsAllThatFollowsTheHeader) {
    const std::string bytes = Bytes({1, 2, 3, 4, "ping", "abc"});
    std::copy(bytes.begin(), bytes.end(), m_reader.room().data());
    m_reader.commit(bytes.size());
    BusMessage message;

    ASSERT_EQ(m_reader.next(message), Result::kMessage);

    EXPECT_EQ(std::string(message.body.begin(), message.body.end()), bytes.substr(12));
    EXPECT_EQ(message.header.reserved, 4);
}

TEST_F(MessageReading, ANameEndsAtItsFirstNul) {
    Feed(HeaderBytes({1, 0, 0, 0, 4, 0}) + std::string("a\0b\0", 4));

    EXPECT_EQ(m_seen, Strings{"a="});
}

TEST_F(MessageReading, TakesTheLargestMessage) {
    const size_t data_bytes = MessageReader::kMaxMessageBytes - kCbusHeaderBytes - 4;

    EXPECT_EQ(Feed(Bytes({1, 0, 0, 0, "big", std::string(data_bytes, 'b')})), Result::kIncomplete);

    ASSERT_EQ(m_seen.size(), 1u);
    EXPECT_EQ(m_seen[0].size(), data_bytes + 4);
}

TEST_F(MessageReading, RefusesALargerOneByItsHeader) {
    const auto data_bytes = static_cast<uint32_t>(MessageReader::kMaxMessageBytes - kCbusHeaderBytes - 3);

    EXPECT_EQ(Feed(HeaderBytes({1, 0, 0, 0, 4, data_bytes})), Result::kMalformed);
}

TEST_F(MessageReading, GivesAMessageAgainThatWasPutBack) {
    const std::string bytes = Bytes({1, 0, 0, 0, "a", "1"}) + Bytes({1, 0, 0, 0, "b", "2"});
    std::copy(bytes.begin(), bytes.end(), m_reader.room().begin());
    m_reader.commit(bytes.size());
    BusMessage message;
    ASSERT_EQ(m_reader.next(message), Result::kMessage);

    m_reader.put_back(message);

    EXPECT_EQ(m_reader.pending_bytes(), bytes.size());
    for (const char* name : {"a", "b"}) {
        ASSERT_EQ(m_reader.next(message), Result::kMessage);
        EXPECT_EQ(message.name, name);
    }
}

TEST_F(MessageReading, RefusesAnUnknownType) {
    EXPECT_EQ(Feed(HeaderBytes({4, 0, 0, 0, 0, 0})), Result::kMalformed);
}

TEST_F(MessageReading, StaysMalformed) {
    Feed(HeaderBytes({4, 0, 0, 0, 0, 0}));

    EXPECT_EQ(Feed(Bytes({1, 0, 0, 0, "a", "1"})), Result::kMalformed);
    EXPECT_EQ(m_seen, Strings{});
}

TEST_F(MessageReading, ABufferThatAHeaderOnlyAnnouncedIsNotAllocated) {
    Feed(HeaderBytes({1, 0, 0, 0, 0, 8'000'000}));

    EXPECT_LT(m_reader.room().size(), 100'000u);
}

TEST_F(MessageReading, GivesALargeBufferBackWhenItIsEmpty) {
    Feed(Bytes({1, 0, 0, 0, "big", std::string(4'000'000, 'b')}));

    EXPECT_LT(m_reader.room().size(), 100'000u);
}
