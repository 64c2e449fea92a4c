// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <algorithm>
#include <string>
#include <vector>

#include "BusFlowFixture.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class BusMessageTime : public BusFlow {
  protected:
    static BrokerOptions ShortMessages() {
        BrokerOptions options = Patient();
        options.message_timeout_ms = 40;
        return options;
    }
    BusMessageTime() : BusFlow(ShortMessages()) {}
};

// With smaller queues, which are full long before the time is over.
class BusShortReplyTime : public BusFlow {
  protected:
    static BrokerOptions ShortReplies() {
        BrokerOptions options = Patient();
        options.reply_timeout_ms = 500;
        options.flow = {kMebi / 8, kMebi / 2, kMebi, 2 * kMebi};
        return options;
    }
    BusShortReplyTime() : BusFlow(ShortReplies()) {
        Provide(m_writer, "config");
        Filter(m_receiver, "s");
    }

    // Until the provider is not read, though it owes a reply.
    void AskAndFill() {
        m_origin.Send(m_request);
        EXPECT_EQ(Receive(m_writer).name, m_request.name);
        Flood changes(m_writer, Signal("s", kMebi), 3);
        PushUntilStuck(changes);
        EXPECT_TRUE(changes.IsDone());
    }
    // It was not the provider's silence, so it is asked again.
    void ExpectNoBlame() {
        EXPECT_EQ(Receive(m_origin), ReplyTo(m_request, 0));
        EXPECT_EQ(m_log.lines(), std::vector<std::string>{});
        m_origin.Send(m_request);
        EXPECT_EQ(Receive(m_writer).name, m_request.name);
    }

    const WireMessage m_request{2, 0, 7, 0, "config.read", ""};
    BusPeer m_origin = Connect();
};

}  // namespace

TEST_F(BusFlow, AFastWriterIsSlowedByItsReceiverAndLosesNothing) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal(), 1000);

    PushUntilStuck(flood);

    EXPECT_GT(flood.taken(), 4 * kMebi);
    EXPECT_LT(flood.taken(), 6 * kMebi);
    ReceiveAll(m_receiver, flood, 1000);
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{});
}

TEST_F(BusFlow, AWriterIsReadAgainBelowOneMebibyte) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);
    const size_t taken = flood.taken();

    Take(m_receiver, 2 * kMebi);
    PushUntilStuck(flood);
    EXPECT_EQ(flood.taken(), taken);

    Take(m_receiver, 2 * kMebi);
    PushUntilStuck(flood);
    EXPECT_GT(flood.taken(), taken);
}

TEST_F(BusFlow, TheBrokerSleepsWhileAWriterWaits) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
    int turns = 0;
    for (; std::chrono::steady_clock::now() < end; ++turns) {
        event_base_loop(m_base.get(), EVLOOP_ONCE);
    }

    EXPECT_LT(turns, 40);
}

TEST_F(BusFlow, OthersAreNotSlowed) {
    BusPeer other = Connect();
    BusPeer listener = Connect();
    Filter(m_receiver, "s");
    Filter(listener, "other");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    other.Send(Signal("other", 1000));

    EXPECT_EQ(Receive(listener).name, "other");
}

// Each answer costs as much as there are clients.
TEST_F(BusFlow, OfRequestsForTheStatusAClientGetsOneATurn) {
    constexpr int kRequests = 200;
    for (int i = 0; i < kRequests; ++i) {
        m_writer.Send(WireMessage{2, 0, i, 0, "cbus.status", ""});
    }
    m_receiver.Send(WireMessage{2, 0, 7, 0, "nobody.serves.this", ""});

    for (int turn = 0; turn < 5; ++turn) {
        event_base_loop(m_base.get(), EVLOOP_ONCE);
    }

    EXPECT_TRUE(m_receiver.HasMessage());
    int answers = 0;
    for (; m_writer.HasMessage(); ++answers) {
        EXPECT_EQ(m_writer.Receive().seqn, answers);
    }
    EXPECT_LT(answers, 10);
    for (; answers < kRequests; ++answers) {
        EXPECT_EQ(Receive(m_writer).seqn, answers);
    }
}

TEST_F(BusFlow, AWriterThatWaitsStillGetsItsOwnMessages) {
    BusPeer provider = Connect();
    Provide(provider, "config");
    Filter(m_receiver, "s");
    m_writer.Send(WireMessage{2, 0, 7, 0, "config.read", ""});
    const WireMessage request = Receive(provider);
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    provider.Send(ReplyTo(request, 10));

    EXPECT_EQ(Receive(m_writer).name, "config.read");
}

TEST_F(BusFlow, TwoThatFillEachOthersQueuesBeforeTheyReadLoseNothing) {
    Filter(m_receiver, "s");
    Filter(m_writer, "t");
    Flood there(m_writer, Signal("s"), 500);
    Flood back(m_receiver, Signal("t"), 500);

    for (int i = 0; i < 4; ++i) {
        PushUntilStuck(there);
        PushUntilStuck(back);
    }

    ASSERT_TRUE(there.IsDone() && back.IsDone());
    ReceiveAll(m_receiver, there, 500);
    ReceiveAll(m_writer, back, 500);
}

TEST_F(BusFlow, AProviderThatWaitsForAReceiverStillAnswersOthers) {
    BusPeer origin = Connect();
    Provide(m_writer, "config");
    Filter(m_receiver, "s");
    Flood changes(m_writer, Signal());
    PushUntilStuck(changes);

    origin.Send(WireMessage{2, 0, 7, 0, "config.read", ""});
    const WireMessage request = Receive(m_writer);
    changes.EndAfterThisMessage();
    PushUntilStuck(changes);
    m_writer.Send(ReplyTo(request, 10));

    EXPECT_EQ(Receive(origin).data, "rrrrrrrrrr");
}

TEST_F(BusFlow, AProviderIsSlowedByWhoDoesNotTakeItsRepliesAndLosesNone) {
    Provide(m_receiver, "config");
    Ask(m_writer, 1000);
    std::string replies;
    for (int i = 0; i < 1000; ++i) {
        replies += Bytes(ReplyTo(Receive(m_receiver), 20'000));
    }
    socket_set_blocking(m_receiver.fd(), false);
    size_t sent = 0;
    const auto push = [&] {
        const ssize_t n = send(m_receiver.fd(), replies.data() + sent, replies.size() - sent, MSG_NOSIGNAL);
        sent += n > 0 ? static_cast<size_t>(n) : 0;
    };
    for (int turn = 0; turn < 2000; ++turn) {
        push();
        event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
    }
    EXPECT_LT(sent, 6 * kMebi);

    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(RunUntil([&] {
            push();
            return m_writer.HasMessage();
        }));
        ASSERT_EQ(m_writer.Receive().seqn, i);
    }
}

TEST_F(BusFlow, WhoDoesNotTakeItsRepliesDoesNotKeepOthersFromTheirs) {
    BusPeer other = Connect();
    Provide(m_receiver, "config");
    Ask(m_writer, 1500);
    other.Send(WireMessage{2, 0, 999, 0, "config.read", ""});
    std::string replies;
    for (int i = 0; i < 1501; ++i) {
        replies += Bytes(ReplyTo(Receive(m_receiver), 20'000));
    }
    socket_set_blocking(m_receiver.fd(), false);
    size_t sent = 0;

    EXPECT_TRUE(RunUntil([&] {
        const ssize_t n = send(m_receiver.fd(), replies.data() + sent, replies.size() - sent, MSG_NOSIGNAL);
        sent += n > 0 ? static_cast<size_t>(n) : 0;
        return other.HasMessage();
    }));

    EXPECT_EQ(other.Receive().seqn, 999);
    EXPECT_THAT(m_log.lines(),
                ElementsAre(HasSubstr("does not take its replies while others wait for theirs")));
}

TEST_F(BusFlow, NoMoreWaitsForAReceiverThanTheUpperLimitAndOneMessageHoweverManyWriteToIt) {
    Filter(m_receiver, "s");
    BusPeer asker = Connect();
    constexpr int kWriters = 12;
    std::vector<BusPeer> writers;
    std::vector<Flood> floods;
    writers.reserve(kWriters);
    for (int i = 0; i < kWriters; ++i) {
        writers.push_back(Connect());
        floods.emplace_back(writers.back(), Signal("s", 7 * kMebi), 1);
        PushUntilStuck(floods.back());
    }

    EXPECT_GT(QueuedFor(2, asker), 16 * kMebi);
    EXPECT_LE(QueuedFor(2, asker), 24 * kMebi);

    for (int i = 0; i < kWriters; ++i) {
        size_t left = Bytes(Signal("s", 7 * kMebi)).size();
        while (left > 0) {
            ASSERT_TRUE(RunUntil([&] {
                std::for_each(floods.begin(), floods.end(), [](Flood& flood) { flood.Push(); });
                return m_receiver.IsReadable();
            }));
            socket_set_blocking(m_receiver.fd(), false);
            left -= m_receiver.ReceiveBytes(std::min(left, size_t{65536})).size();
        }
    }
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{});
}

TEST_F(BusFlow, AReplyWaitsAsWellForRoomInTheQueueOfItsOrigin) {
    BusPeer asker = Connect();
    constexpr int kProviders = 6;
    std::vector<BusPeer> providers;
    std::vector<Flood> floods;
    providers.reserve(kProviders);
    for (int i = 0; i < kProviders; ++i) {
        const std::string name = "p" + std::to_string(i);
        providers.push_back(Connect());
        Provide(providers.back(), name);
        m_writer.Send(WireMessage{2, 0, 0, 0, name, ""});
        floods.emplace_back(providers.back(), ReplyTo(Receive(providers.back()), 7 * kMebi), 1);
    }
    for (Flood& flood : floods) {
        PushUntilStuck(flood);
    }

    EXPECT_GT(QueuedFor(1, asker), 16 * kMebi);
    EXPECT_LE(QueuedFor(1, asker), 24 * kMebi);

    size_t left = 6 * Bytes({3, 0, 0, 0, "p0", std::string(7 * kMebi, 'r')}).size();
    socket_set_blocking(m_writer.fd(), false);
    EXPECT_TRUE(RunUntil([&] {
        std::for_each(floods.begin(), floods.end(), [](Flood& flood) { flood.Push(); });
        left -= m_writer.ReceiveBytes(std::min(left, size_t{65536})).size();
        return left == 0;
    }));
}

TEST_F(BusFlow, WhoAsksWithoutEndAndTakesNoReplyIsNoLongerRead) {
    Flood questions(m_writer, WireMessage{2, 0, 0, 0, std::string(60'000, 'n'), ""});

    PushUntilStuck(questions);

    EXPECT_LT(questions.taken(), 20 * kMebi);
    Settle(m_receiver);
}

TEST_F(BusFlow, AMonitorThatTakesNeitherCopiesNorItsOwnMessagesIsDisconnectedAndHoldsNobodyUp) {
    Filter(m_receiver, "s");
    m_receiver.Send(WireMessage{1, 0, 0, 0, "cbus.monitor", ""});
    ASSERT_TRUE(RunUntil([&] {
        m_writer.Send(WireMessage{1, 0, 0, 0, "is it one by now?", ""});
        return m_receiver.IsReadable();
    }));
    Flood flood(m_writer, Signal(), 2000);

    EXPECT_TRUE(RunUntil([&] {
        flood.Push();
        return m_broker->client_count() == 1;
    }));

    EXPECT_GT(flood.taken(), 8 * kMebi);
    EXPECT_LT(flood.taken(), 20 * kMebi);
    EXPECT_THAT(
        m_log.lines(),
        ElementsAre(AllOf(StartsWith("4 cbusd: " + Named(2) + " disconnected: is a monitor for which 16"),
                          EndsWith(" bytes wait"))));
    EXPECT_TRUE(RunUntil([&] {
        flood.Push();
        return flood.IsDone();
    }));
}

TEST_F(BusFlow, AMonitorThatTakesNoCopiesStays) {
    m_receiver.Send(WireMessage{1, 0, 0, 0, "cbus.monitor", ""});
    Flood flood(m_writer, Signal(), 2000);

    EXPECT_TRUE(RunUntil([&] {
        flood.Push();
        return flood.IsDone();
    }));

    BusPeer asker = Connect();
    EXPECT_GT(QueuedFor(2, asker), 7 * kMebi);
    EXPECT_LE(QueuedFor(2, asker), 8 * kMebi);
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{});
}

TEST_F(BusFlow, WhatAWriterHadSentWhenItWentStillArrives) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);
    const size_t whole = flood.taken() / Bytes(Signal()).size();
    m_writer.Hang();
    RunFor(50);

    for (size_t i = 0; i < whole; ++i) {
        ASSERT_EQ(Receive(m_receiver).seqn, static_cast<int>(i));
    }
    EXPECT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));
}

TEST_F(BusFlow, TheLastWordsOfOneThatTakesNothingArrive) {
    Filter(m_receiver, "last");
    Filter(m_writer, "s");
    BusPeer other = Connect();
    Flood flood(other, Signal("s"), 20);
    PushUntilStuck(flood);

    m_writer.Send(Signal("last.word", 10));
    m_writer.Hang();

    EXPECT_EQ(Receive(m_receiver).name, "last.word");
}

TEST_F(BusFlow, TheNamesOfAWaitingWriterThatDiedAreFree) {
    BusPeer second = Connect();
    Provide(m_writer, "config");
    Provide(second, "config");
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    m_writer.Hang();
    RunFor(30);
    m_receiver.Send(WireMessage{2, 0, 1, 0, "config.read", ""});

    EXPECT_EQ(Receive(second).name, "config.read");
}

TEST_F(BusMessageTime, AMessageThatIsNotCompleteInTimeCostsTheConnection) {
    m_writer.Send(Bytes(Signal()).substr(0, 1000));

    EXPECT_TRUE(IsDisconnected(m_writer));
    EXPECT_EQ(m_log.lines(), std::vector<std::string>{"4 cbusd: " + Named(1) +
                                                      " disconnected: a message was not complete in time"});
    Settle(m_receiver);
}

TEST_F(BusMessageTime, EveryMessageHasItsOwnTime) {
    const std::string half = Bytes({2, 0, 1, 0, "slow", "data"}).substr(0, 17);
    const std::string rest = Bytes({2, 0, 1, 0, "slow", "data"}).substr(17);
    m_writer.Send(half);

    for (int i = 0; i < 6; ++i) {
        RunFor(15);
        m_writer.Send(rest + half);
        ASSERT_EQ(Receive(m_writer).name, "slow");
    }
}

TEST_F(BusMessageTime, TheTimeInWhichAWriterIsNotReadDoesNotCount) {
    Filter(m_receiver, "s");
    Flood flood(m_writer, Signal());
    PushUntilStuck(flood);

    RunFor(100);

    EXPECT_EQ(m_broker->client_count(), 2u);
    Take(m_receiver, 4 * kMebi);
    EXPECT_TRUE(RunUntil([&] { return flood.Push(); }));
}

TEST_F(BusShortReplyTime, IsNotTheFaultOfAProviderThatIsNotRead) {
    AskAndFill();

    ExpectNoBlame();
}

TEST_F(BusShortReplyTime, IsNotTheFaultOfAProviderThatWasNotReadForAPartOfIt) {
    AskAndFill();

    Take(m_receiver, 5 * kMebi / 2);

    ExpectNoBlame();
}
