// SPDX-License-Identifier: MIT

#include "device/cbusd/Broker.h"

#include <string>

#include "BrokerFixture.h"

namespace {

class BusSignals : public BrokerFixture {
  protected:
    BusPeer m_sender = Connect();
    BusPeer m_receiver = Connect();
};

class BusRequests : public BrokerFixture {
  protected:
    // Small, so that the tests of silence are quick; the others answer within one turn of the loop.
    static BrokerOptions Impatient(uint32_t reply_timeout_ms) {
        BrokerOptions options;
        options.reply_timeout_ms = reply_timeout_ms;
        return options;
    }
    explicit BusRequests(const BrokerOptions& options = {}) : BrokerFixture(options) {
        Provide(m_provider, "config");
    }

    // The request as it reaches the provider, whatever its tag.
    WireMessage Forward(const WireMessage& request) {
        m_origin.Send(request);
        return Receive(m_provider);
    }
    static WireMessage ReplyTo(WireMessage request, const std::string& data) {
        request.type = 3;
        request.data = data;
        return request;
    }

    BusPeer m_origin = Connect();
    BusPeer m_provider = Connect();
};

class BusSilence : public BusRequests {
  protected:
    BusSilence() : BusRequests(Impatient(30)) {}
};

WireMessage Signal(int seqn, const char* name) {
    return {1, 5, seqn, 0, name, "data"};
}
const WireMessage kRequest{2, 77, 4711, 1234, "config.read.cfg.x", "key"};
const WireMessage kEmptyReply{3, 77, 4711, 1234, "config.read.cfg.x", ""};

}  // namespace

TEST_F(BusSignals, ReachWhoHasAFilterThatBeginsTheName) {
    Filter(m_receiver, "config.ch");

    m_sender.Send(Signal(1, "config.change.cfg"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "config.change.cfg"));
}

TEST_F(BusSignals, DoNotReachWhoHasAnotherFilter) {
    Filter(m_receiver, "config.change");

    m_sender.Send(Signal(1, "config.chance"));
    m_sender.Send(Signal(2, "config.change"));

    EXPECT_EQ(Receive(m_receiver), Signal(2, "config.change"));
}

TEST_F(BusSignals, ReachEveryClientThatHasAFilter) {
    BusPeer other = Connect();
    Filter(m_receiver, "a");
    Filter(other, "");

    m_sender.Send(Signal(1, "a.b"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "a.b"));
    EXPECT_EQ(Receive(other), Signal(1, "a.b"));
}

TEST_F(BusSignals, ComeOnceThoughSeveralFiltersMatch) {
    Filter(m_receiver, "a");
    Filter(m_receiver, "a.b");

    m_sender.Send(Signal(1, "a.b.c"));
    m_sender.Send(Signal(2, "a"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "a.b.c"));
    EXPECT_EQ(Receive(m_receiver), Signal(2, "a"));
}

TEST_F(BusSignals, DoNotReachTheirSender) {
    Filter(m_sender, "a");

    m_sender.Send(Signal(1, "a"));
    m_receiver.Send(Signal(2, "a"));

    EXPECT_EQ(Receive(m_sender), Signal(2, "a"));
}

TEST_F(BusSignals, NoLongerComeAfterTheFilterWasTakenAway) {
    Filter(m_receiver, "a");
    Filter(m_receiver, "b");
    Filter(m_receiver, "-a");

    m_sender.Send(Signal(1, "a"));
    m_sender.Send(Signal(2, "b"));

    EXPECT_EQ(Receive(m_receiver), Signal(2, "b"));
}

TEST_F(BusSignals, StillComeAfterOneOfTwoEqualFiltersWasTakenAway) {
    Filter(m_receiver, "a");
    Filter(m_receiver, "a");
    Filter(m_receiver, "-a");

    m_sender.Send(Signal(1, "a"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "a"));
}

TEST_F(BusSignals, AFilterWithoutItsNulEndsWithTheData) {
    m_receiver.Send(WireMessage{1, 0, 0, 0, "cbus.filter", "abcd"});
    Settle(m_receiver);

    m_sender.Send(Signal(1, "abcd.e"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "abcd.e"));
}

TEST_F(BusSignals, TheBrokersOwnAreNotPassedOn) {
    Filter(m_receiver, "");

    Filter(m_sender, "x");
    Provide(m_sender, "x");
    m_sender.Send(Signal(1, "a"));

    EXPECT_EQ(Receive(m_receiver), Signal(1, "a"));
}

TEST_F(BusSignals, OfManyMebibytesPassWhole) {
    Filter(m_receiver, "big");
    const WireMessage big{1, 0, 0, 0, "big", std::string(7 << 20, 'b')};
    const std::string bytes = Bytes(big);
    socket_set_blocking(m_sender.fd(), false);
    socket_set_blocking(m_receiver.fd(), false);
    size_t sent = 0;
    std::string received;

    EXPECT_TRUE(RunUntil([&] {
        const ssize_t out = send(m_sender.fd(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        sent += out > 0 ? static_cast<size_t>(out) : 0;
        received += m_receiver.ReceiveBytes(1 << 20);
        return received.size() == bytes.size();
    }));

    EXPECT_TRUE(received == bytes);
}

TEST_F(BusRequests, ReachTheProviderWithATagInTheReservedField) {
    WireMessage expected = kRequest;

    const WireMessage forwarded = Forward(kRequest);

    expected.reserved = forwarded.reserved;
    EXPECT_EQ(forwarded, expected);
    EXPECT_NE(forwarded.reserved, 0);
}

TEST_F(BusRequests, AreAnsweredToTheirOriginAsItSentThem) {
    const WireMessage forwarded = Forward(kRequest);

    m_provider.Send(ReplyTo(forwarded, "value"));

    EXPECT_EQ(Receive(m_origin), ReplyTo(kRequest, "value"));
}

TEST_F(BusRequests, OfTwoOriginsWithEqualHeadersAreToldApart) {
    BusPeer other = Connect();
    const WireMessage first = Forward(kRequest);
    other.Send(kRequest);
    const WireMessage second = Receive(m_provider);

    m_provider.Send(ReplyTo(second, "for the other"));
    m_provider.Send(ReplyTo(first, "for the origin"));

    EXPECT_EQ(Receive(other), ReplyTo(kRequest, "for the other"));
    EXPECT_EQ(Receive(m_origin), ReplyTo(kRequest, "for the origin"));
}

TEST_F(BusRequests, MayBeServedByTheirOrigin) {
    Provide(m_origin, "self");
    m_origin.Send(WireMessage{2, 1, 2, 3, "self.ask", ""});
    const WireMessage forwarded = Receive(m_origin);

    m_origin.Send(ReplyTo(forwarded, "me"));

    EXPECT_EQ(Receive(m_origin), (WireMessage{3, 1, 2, 3, "self.ask", "me"}));
}

TEST_F(BusRequests, ThatNobodyServesAreAnsweredEmptyAtOnce) {
    m_origin.Send(WireMessage{2, 77, 4711, 1234, "configuration", "key"});

    EXPECT_EQ(Receive(m_origin), (WireMessage{3, 77, 4711, 1234, "configuration", ""}));
}

TEST_F(BusRequests, WithoutANameAreAnsweredEmptyAtOnce) {
    m_origin.Send(WireMessage{2, 1, 2, 3, "", "key"});

    EXPECT_EQ(Receive(m_origin), (WireMessage{3, 1, 2, 3, "", ""}));
}

TEST_F(BusRequests, GoToTheProviderOfTheLongestName) {
    BusPeer special = Connect();
    Provide(special, "config.read");

    m_origin.Send(kRequest);

    EXPECT_EQ(Receive(special).name, "config.read.cfg.x");
}

TEST_F(BusRequests, GoToTheFirstOfTwoProvidersOfAName) {
    BusPeer second = Connect();
    Provide(second, "config");

    EXPECT_EQ(Forward(kRequest).name, "config.read.cfg.x");
}

TEST_F(BusRequests, GoToTheSecondProviderWhenTheFirstHasGone) {
    BusPeer second = Connect();
    Provide(second, "config");
    m_provider.Hang();
    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 2; }));

    m_origin.Send(kRequest);

    EXPECT_EQ(Receive(second).name, "config.read.cfg.x");
}

TEST_F(BusRequests, WhoseProviderDiesAreAnsweredEmptyAtOnce) {
    Forward(kRequest);

    m_provider.Hang();

    EXPECT_EQ(Receive(m_origin), kEmptyReply);
}

TEST_F(BusRequests, SentToAProviderThatIsJustDyingAreAnsweredEmpty) {
    m_provider.Hang();
    m_origin.Send(kRequest);

    EXPECT_EQ(Receive(m_origin), kEmptyReply);
}

TEST_F(BusRequests, WhoseOriginDiesAreForgotten) {
    const WireMessage forwarded = Forward(kRequest);
    m_origin.Hang();
    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));

    m_provider.Send(ReplyTo(forwarded, "too late"));

    Settle(m_provider);
}

TEST_F(BusRequests, AreNotAnsweredBySomebodyElse) {
    BusPeer impostor = Connect();
    const WireMessage forwarded = Forward(kRequest);

    impostor.Send(ReplyTo(forwarded, "wrong"));
    Settle(impostor);
    m_provider.Send(ReplyTo(forwarded, "right"));

    EXPECT_EQ(Receive(m_origin).data, "right");
}

TEST_F(BusRequests, AreNotAnsweredByAReplyOfAnotherSequenceNumberOrSource) {
    const WireMessage forwarded = Forward(kRequest);
    WireMessage other_seqn = ReplyTo(forwarded, "wrong");
    ++other_seqn.seqn;
    WireMessage other_source = ReplyTo(forwarded, "wrong");
    ++other_source.src;

    m_provider.Send(other_seqn);
    m_provider.Send(other_source);
    m_provider.Send(ReplyTo(forwarded, "right"));

    EXPECT_EQ(Receive(m_origin).data, "right");
}

TEST_F(BusRequests, AreAnsweredOnce) {
    const WireMessage forwarded = Forward(kRequest);

    m_provider.Send(ReplyTo(forwarded, "first"));
    m_provider.Send(ReplyTo(forwarded, "second"));
    Settle(m_provider);

    EXPECT_EQ(Receive(m_origin).data, "first");
    Settle(m_origin);
}

TEST_F(BusSilence, IsAnsweredEmptyWhenTheTimeIsOver) {
    Forward(kRequest);

    EXPECT_EQ(Receive(m_origin), kEmptyReply);
    EXPECT_EQ(m_log.lines().size(), 1u);
}

TEST_F(BusSilence, CostsAProviderTheRequestsOfOthersUntilItSendsSomething) {
    const WireMessage forwarded = Forward(kRequest);
    EXPECT_EQ(Receive(m_origin), kEmptyReply);

    m_origin.Send(kRequest);
    EXPECT_EQ(Receive(m_origin), kEmptyReply);
    EXPECT_FALSE(m_provider.IsReadable());

    m_provider.Send(ReplyTo(forwarded, "too late"));
    Settle(m_provider);
    EXPECT_EQ(Forward(kRequest).name, kRequest.name);
}

TEST_F(BusSilence, IsLoggedOnceThoughSeveralRequestsRunOut) {
    Forward(kRequest);
    Forward(kRequest);

    EXPECT_EQ(Receive(m_origin), kEmptyReply);
    EXPECT_EQ(Receive(m_origin), kEmptyReply);
    EXPECT_EQ(m_log.lines().size(), 1u);
}

TEST_F(BusSilence, MakesALaterReplyDropped) {
    const WireMessage forwarded = Forward(kRequest);
    EXPECT_EQ(Receive(m_origin), kEmptyReply);

    m_provider.Send(ReplyTo(forwarded, "too late"));
    Settle(m_provider);

    Settle(m_origin);
}
