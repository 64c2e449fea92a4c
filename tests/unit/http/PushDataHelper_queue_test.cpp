// SPDX-License-Identifier: MIT

#include "src/http/PushDataHelper.h"

#include <atomic>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PushDataFixture.h"
#include "tests/support/CapturedLog.h"

using testing::ElementsAre;

namespace {

// A queue that has been read that many times.
void ReadBefore(PushDataHelper& helper, int count) {
    for (int i = 0; i < count; ++i) {
        ASSERT_TRUE(Enqueue(helper, "before"));
        ASSERT_EQ(Dequeue(helper), "before");
    }
}

int AcceptedInARow(PushDataHelper& helper, int tries) {
    int accepted = 0;
    while (accepted < tries && Enqueue(helper, std::to_string(accepted))) {
        ++accepted;
    }
    return accepted;
}

}  // namespace

TEST(PushDataQueue, IsEmptyAtFirst) {
    PushDataHelper helper;

    EXPECT_EQ(helper.dequeue(), nullptr);
}

TEST(PushDataQueue, GivesEntriesInTheirOrder) {
    PushDataHelper helper;
    Enqueue(helper, "a", "[1]");
    Enqueue(helper, "b");

    const PushEntryPtr first(helper.dequeue());

    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first->name.get(), "a");
    EXPECT_EQ(Text(first->data.get()), "[1]");
    EXPECT_THAT(DequeueAll(helper), ElementsAre("b"));
}

TEST(PushDataQueue, RefusesTheEighthEntryThatWaitsUntilEightWereRead) {
    for (int read = 0; read < 8; ++read) {
        PushDataHelper helper;
        ReadBefore(helper, read);

        EXPECT_EQ(AcceptedInARow(helper, 20), 7) << "after " << read << " reads";
        EXPECT_THAT(DequeueAll(helper), ElementsAre("0", "1", "2", "3", "4", "5", "6"));
    }
}

TEST(PushDataQueue, RefusesNothingOnceEightWereRead) {
    PushDataHelper helper;
    ReadBefore(helper, 8);

    EXPECT_EQ(AcceptedInARow(helper, 1000), 1000);
}

TEST(PushDataQueue, HoldsEightOnceEightWereRead) {
    PushDataHelper helper;
    ReadBefore(helper, 8);
    AcceptedInARow(helper, 8);

    EXPECT_THAT(DequeueAll(helper), ElementsAre("0", "1", "2", "3", "4", "5", "6", "7"));
}

TEST(PushDataQueue, LosesTheOldestEntriesToAProducerThatRunsAhead) {
    PushDataHelper helper;
    ReadBefore(helper, 8);
    AcceptedInARow(helper, 19);

    EXPECT_THAT(DequeueAll(helper), ElementsAre("11", "12", "13", "14", "15", "16", "17", "18"));
}

TEST(PushDataQueue, GivesWhatComesAfterAnOverwrittenEntryAtOnce) {
    PushDataHelper helper;
    ReadBefore(helper, 11);
    AcceptedInARow(helper, 13);
    DequeueAll(helper);

    Enqueue(helper, "next");

    EXPECT_THAT(DequeueAll(helper), ElementsAre("next"));
    EXPECT_EQ(helper.dequeue(), nullptr);
}

TEST(PushDataQueue, FreesTheOverwrittenEntry) {
    const FreedJson freed;
    PushDataHelper helper;
    ReadBefore(helper, 8);
    PushEntryPtr oldest = Message("oldest");
    const cJSON* data = oldest->data.get();
    ASSERT_TRUE(helper.enqueue(oldest.release()));

    AcceptedInARow(helper, 7);
    EXPECT_FALSE(freed.has(data));
    Enqueue(helper, "overtaking");

    EXPECT_TRUE(freed.has(data));
}

TEST(PushDataQueue, FreesWhatIsLeftInTheEnd) {
    const FreedJson freed;
    PushEntryPtr entry = Message("left");
    const cJSON* data = entry->data.get();

    {
        PushDataHelper helper;
        ASSERT_TRUE(helper.enqueue(entry.release()));
    }

    EXPECT_TRUE(freed.has(data));
}

TEST(PushDataQueue, LeavesARefusedEntryToItsOwner) {
    const FreedJson freed;
    PushDataHelper helper;
    AcceptedInARow(helper, 7);
    const PushEntryPtr refused = Message("refused");

    EXPECT_FALSE(helper.enqueue(refused.get()));

    EXPECT_FALSE(freed.has(refused->data.get()));
}

TEST(PushDataQueue, LogsItsSlots) {
    const CapturedLog log;
    PushDataHelper helper;

    AcceptedInARow(helper, 8);
    Dequeue(helper);

    const std::string module = "7 src/PushDataHelper: ";
    EXPECT_EQ(log.lines()[0], module + "enqueue() > m_writeIndex: 1, m_readIndex: 0, Empty: N, full: N");
    EXPECT_EQ(log.lines()[6], module + "enqueue() > m_writeIndex: 7, m_readIndex: 0, Empty: N, full: Y");
    EXPECT_EQ(log.lines()[7], log.lines()[6]);  // refused
    EXPECT_EQ(log.lines()[8], module + "dequeue() < m_writeIndex: 7, m_readIndex: 1, Empty: N, full: N");
}

TEST(PushDataQueue, LogsThatItWasEmptied) {
    const CapturedLog log;
    PushDataHelper helper;

    ReadBefore(helper, 9);

    EXPECT_EQ(log.lines().back(),
              "7 src/PushDataHelper: dequeue() < m_writeIndex: 1, m_readIndex: 1, Empty: Y, full: N");
}

TEST(PushDataQueue, KeepsTheOrderOfEachProducer) {
    PushDataHelper helper;
    ReadBefore(helper, 8);
    std::atomic<int> producing{2};
    const auto produce = [&](const std::string& name) {
        for (int i = 0; i < 2000; ++i) {
            Enqueue(helper, name, std::to_string(i));
        }
        --producing;
    };
    std::thread a(produce, "a");
    std::thread b(produce, "b");

    int last[2] = {-1, -1};
    bool isInOrder = true;
    for (bool isOver = false; !isOver;) {
        isOver = producing == 0;
        while (const PushEntryPtr entry{helper.dequeue()}) {
            int& before = last[entry->name.get()[0] - 'a'];
            isInOrder = isInOrder && before < entry->data->valueint;
            before = entry->data->valueint;
        }
    }
    a.join();
    b.join();

    EXPECT_TRUE(isInOrder);
    EXPECT_TRUE(last[0] == 1999 || last[1] == 1999);
}
