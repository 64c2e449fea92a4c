// SPDX-License-Identifier: MIT

#include <malloc.h>

#include <list>

#include "PushChannelsFixture.h"

// Subscribing.

TEST_F(PushChannels, AnswerASubscriberAtOnceWithTheEventsAfterItsLast) {
    Serve([this] {
        PublishEvents(7);

        const std::string answer = m_server.connect().exchange(Subscription("?channel=a&fromId=5"));

        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_EQ(EventsOf(answer), (Events{R"({"n":6,"id":6})", R"({"n":7,"id":7})"}));
        EXPECT_TRUE(Has(answer, "X-Server-instance: 0x1a2b3c"));
        EXPECT_TRUE(Has(answer, "Content-Type: application/json"));
        EXPECT_FALSE(Has(answer, "Transfer-Encoding: chunked"));
    });
}

TEST_F(PushChannels, GiveAllEventsWithoutAFromId) {
    Serve([this] {
        PublishEvents(2);

        const std::string answer = m_server.connect().exchange(Subscription("?channel=a"));

        EXPECT_EQ(EventsOf(answer).size(), 2U);
    });
}

TEST_F(PushChannels, GiveShortAndLongEventsInTheirOrder) {
    Serve([this] {
        const std::string text(2000, 'x');
        Publish(R"({"n":"short"})");
        Publish(R"({"n":")" + text + R"("})");
        Publish(R"({"n":"short"})");

        const std::string answer = m_server.connect().exchange(Subscription("?channel=a"));

        EXPECT_EQ(EventsOf(answer), (Events{R"({"n":"short","id":1})", R"({"n":")" + text + R"(","id":2})",
                                            R"({"n":"short","id":3})"}));
    });
}

TEST_F(PushChannels, LetASubscriberWithoutANewerEventWaitForTheNextPublication) {
    Serve([this] {
        PublishEvents(2);
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a&fromId=2"));
        ASSERT_TRUE(Waits(1));
        EXPECT_EQ(subscriber.pending(), "");

        EXPECT_EQ(StatusOf(Publish(R"({"n": 3})")), kOk);

        const std::string answer = subscriber.receive();
        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_EQ(EventsOf(answer), Events{R"({"n":3,"id":3})"});
        EXPECT_TRUE(Has(answer, "X-Server-instance: 0x1a2b3c"));
        EXPECT_TRUE(Has(answer, "Content-type: application/json"));
        EXPECT_TRUE(Has(answer, "Transfer-Encoding: chunked"));
        EXPECT_EQ(m_server.waitingRequests(), 0U);
    });
}

TEST_F(PushChannels, NameTheInstanceInLowerCaseHexadecimalToEverySubscriberAndToNoPublisher) {
    Serve([this] {
        RawHttpClient waiting = m_server.connect();
        waiting.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));

        EXPECT_FALSE(Has(Publish("{}"), "X-Server-instance"));

        EXPECT_TRUE(Has(waiting.receive(), "X-Server-instance: 0x1a2b3c"));
        EXPECT_TRUE(
            Has(m_server.connect().exchange(Subscription("?channel=a")), "X-Server-instance: 0x1a2b3c"));
    });
}

TEST_F(PushChannels, AnswerEveryWaitingSubscriberFromItsOwnLastEvent) {
    Serve([this] {
        RawHttpClient ahead = m_server.connect();
        RawHttpClient behind = m_server.connect();
        ahead.send(Subscription("?channel=a&fromId=9"));
        behind.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(2));

        Publish(R"({"n": 1})");

        EXPECT_EQ(EventsOf(ahead.receive()), Events{});
        EXPECT_EQ(EventsOf(behind.receive()), Events{R"({"n":1,"id":1})"});
    });
}

TEST_F(PushChannels, LeaveTheSubscribersOfOtherChannelsWaiting) {
    Serve([this] {
        RawHttpClient other = m_server.connect();
        other.send(Subscription("?channel=b"));
        ASSERT_TRUE(Waits(1));

        Publish("{}");

        EXPECT_EQ(other.pending(), "");
        EXPECT_EQ(m_server.waitingRequests(), 1U);
    });
}

TEST_F(PushChannels, AnswerASecondSubscriptionOnTheSameConnection) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        for (int n = 0; n < 2; ++n) {
            subscriber.send(Subscription("?channel=a&fromId=" + std::to_string(n)));
            ASSERT_TRUE(Waits(1));
            Publish("{}");
            EXPECT_EQ(EventsOf(subscriber.receive()), Events{"{\"id\":" + std::to_string(n + 1) + "}"});
        }
    });
}

TEST_F(PushChannels, AnswerAWaitingHeadWithoutABody) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("HEAD /activity?channel=a HTTP/1.1\r\nHost: x\r\n\r\n");
        ASSERT_TRUE(Waits(1));

        Publish("{}");

        const std::string answer = subscriber.pending();
        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_TRUE(answer.ends_with("\r\n\r\n"));
        EXPECT_EQ(answer.find("settings-update"), std::string::npos);
    });
}

TEST_F(PushChannels, AnswerAnOldClientWithALength) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("GET /activity?channel=a HTTP/1.0\r\nConnection: keep-alive\r\n\r\n");
        ASSERT_TRUE(Waits(1));

        Publish("{}");

        const std::string answer = subscriber.receive();
        EXPECT_EQ(EventsOf(answer), Events{R"({"id":1})"});
        EXPECT_FALSE(Has(answer, "Transfer-Encoding: chunked"));
    });
}

TEST_F(PushChannels, ServeASubscriberThatPosts) {
    Serve([this] {
        PublishEvents(1);
        RawHttpClient subscriber = m_server.connect();

        const std::string answer = subscriber.exchange(
            "POST /activity?channel=a HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n{}");

        EXPECT_EQ(EventsOf(answer).size(), 1U);
        EXPECT_EQ(CountOf(answer, "Content-Type:"), 1);
        EXPECT_EQ(CountOf(answer, "Set-Cookie:"), 0);
        EXPECT_TRUE(Caches(0));
    });
}

TEST_F(PushChannels, KeepNoBodyOfASubscriberThatWaits) {
    Serve([this] {
        const std::size_t before = mallinfo2().uordblks;
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("POST /activity?channel=a HTTP/1.1\r\nHost: x\r\nContent-Length: 16000000\r\n\r\n" +
                        std::string(16000000, 'x'));
        ASSERT_TRUE(Waits(1));

        EXPECT_LT(mallinfo2().uordblks, before + 8000000);
    });
}

TEST_F(PushChannels, GiveAPublisherNoHeaderOfAnotherAnswer) {
    Serve([this] {
        const std::string answer = m_server.connect().exchange(
            "POST /%70ublish?channel=a HTTP/1.1\r\nHost: x\r\n"
            "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n{}");

        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_EQ(CountOf(answer, "Set-Cookie:"), 0);
        EXPECT_EQ(CountOf(answer, "Content-Type:"), 1);
    });
}

TEST_F(PushChannels, GiveNoAnswerAtAllToASubscriberWithoutAQuery) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("GET /activity HTTP/1.1\r\nHost: x\r\n\r\n");
        ASSERT_TRUE(Waits(1));

        Publish("{}");
        EXPECT_EQ(subscriber.pending(), "");

        subscriber.close();
        EXPECT_TRUE(Waits(0));
    });
}

TEST_F(PushChannels, RefuseASubscriberWithoutAChannel) {
    const CapturedLog log;
    Serve([this] {
        for (const char* query : {"?", "?fromId=1", "?channel=", "?channel=&fromId=1"}) {
            const std::string answer = m_server.connect().exchange(Subscription(query));
            EXPECT_EQ(StatusOf(answer), kBadRequest) << query;
            EXPECT_TRUE(Has(answer, "X-Server-instance: 0x1a2b3c"));
        }
    });

    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests without a channel, the last for /activity?"));
}

TEST_F(PushChannels, RefuseAnyRequestWhoseEndIsInDoubt) {
    Serve([this] {
        for (const std::string target : {"/activity?channel=a", "/publish?channel=a"}) {
            RawHttpClient client = m_server.connect();
            client.send("PUT " + target + " HTTP/1.1\r\nContent-Type: application/json\r\n" +
                        "Transfer-Encoding: xchunked\r\n\r\nGET /smuggled HTTP/1.1\r\n\r\n");

            EXPECT_TRUE(client.isClosedByServer());
            EXPECT_EQ(StatusOf(client.pending()), kBadRequest);
        }
    });
}

// Clients that leave.

TEST_F(PushChannels, ForgetASubscriberThatLeaves) {
    const CapturedLog log;
    set_log_mask(log_up_to(7));
    Serve([this] {
        RawHttpClient leaving = m_server.connect();
        RawHttpClient staying = m_server.connect();
        leaving.send(Subscription("?channel=a"));
        staying.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(2));

        leaving.close();

        ASSERT_TRUE(Waits(1));
        EXPECT_EQ(StatusOf(Publish("{}")), kOk);
        EXPECT_EQ(EventsOf(staying.receive()).size(), 1U);
    });

    EXPECT_TRUE(log.has("7 src/HabEventServer: checking channel: a, 2"));
    EXPECT_EQ(log.countOf("7 src/HabEventServer: conn addr: 0x"), 2);
    EXPECT_EQ(log.count("7 src/HabEventServer: removed closed connection from subscriber list"), 1);
    EXPECT_TRUE(log.has("7 src/HabEventServer: 1 pending requests"));
}

TEST_F(PushChannels, KeepNoObjectOfASubscriberThatPostsAndWaits) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("POST /activity?channel=a HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n");
        ASSERT_TRUE(Waits(1));
        EXPECT_EQ(m_server.cachedRequests(), 0U);

        subscriber.reset();

        EXPECT_TRUE(Waits(0));
        EXPECT_TRUE(Caches(0));
    });
}

TEST_F(PushChannels, SurviveASubscriberThatLeavesWhileItIsBeingAnswered) {
    Serve([this] {
        RawHttpClient leaving = m_server.connect();
        RawHttpClient staying = m_server.connect();
        RawHttpClient publisher = m_server.connect();
        leaving.send(Subscription("?channel=a"));
        staying.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(2));
        // Both are known to the kernel before the loop turns again.
        publisher.sendOnce(Publication("?channel=a", "{}"));
        leaving.reset();

        EXPECT_EQ(StatusOf(publisher.receive()), kOk);

        EXPECT_EQ(EventsOf(staying.receive()).size(), 1U);
        EXPECT_EQ(m_server.waitingRequests(), 0U);
        EXPECT_EQ(StatusOf(Publish("{}")), kOk);
    });
}

TEST_F(PushChannels, EndTheirWaitingRequestsWithTheServer) {
    const RawHttpClient* kept = nullptr;
    std::list<RawHttpClient> clients;
    Serve([&] {
        clients.push_back(m_server.connect());
        clients.back().send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));
        kept = &clients.back();
    });

    EXPECT_NE(kept, nullptr);
    EXPECT_EQ(m_server.waitingRequests(), 0U);
}

// The limit of channels.

TEST_F(PushChannels, RefuseToLetAnEightiethChannelBeWaitedOn) {
    const CapturedLog log;
    Serve([this] {
        std::list<RawHttpClient> subscribers;
        for (int n = 1; n <= 79; ++n) {
            subscribers.push_back(m_server.connect());
            subscribers.back().send(Subscription("?channel=c" + std::to_string(n)));
        }
        ASSERT_TRUE(Waits(79));

        const std::string answer = m_server.connect().exchange(Subscription("?channel=c80"));

        EXPECT_EQ(StatusOf(answer), kForbidden);
        EXPECT_EQ(m_server.waitingRequests(), 79U);
    });

    EXPECT_TRUE(log.has("3 src/HabEventServer: Too many push channels! Max: 80"));
}

TEST_F(PushChannels, CountChannelsThatWereOnlyPublishedTo) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= 79; ++n) {
            publisher.exchange(Publication("?channel=c" + std::to_string(n), "{}"));
        }

        EXPECT_EQ(StatusOf(m_server.connect().exchange(Subscription("?channel=other"))), kForbidden);
    });
}

TEST_F(PushChannels, LetNobodyWaitAnyMoreOnceTheyAreTooMany) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= 80; ++n) {
            publisher.exchange(Publication("?channel=c" + std::to_string(n), "{}"));
        }

        EXPECT_EQ(StatusOf(m_server.connect().exchange(Subscription("?channel=c1&fromId=1"))), kForbidden);
        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=c1"))).size(), 1U);
    });
}

TEST_F(PushChannels, KeepNoMoreThanTheFirstChannelThatWasRefused) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= 79; ++n) {
            publisher.exchange(Publication("?channel=c" + std::to_string(n), "{}"));
        }

        for (int n = 0; n < 5; ++n) {
            m_server.connect().exchange(Subscription("?channel=x" + std::to_string(n)));
        }

        EXPECT_EQ(m_server.channels(), 80U);
    });
}

TEST_F(PushChannels, LetNobodyWaitAnyMoreOnceOneWasRefused) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= 79; ++n) {
            publisher.exchange(Publication("?channel=c" + std::to_string(n), "{}"));
        }
        m_server.connect().exchange(Subscription("?channel=c80"));

        EXPECT_EQ(StatusOf(m_server.connect().exchange(Subscription("?channel=c1&fromId=1"))), kForbidden);
    });
}
