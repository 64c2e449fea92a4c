// SPDX-License-Identifier: MIT

#include <malloc.h>

#include <list>

#include "PushChannelsFixture.h"

// Publishing.

TEST_F(PushChannels, AnswerThePublisherWithNothingButOk) {
    const CapturedLog log;
    Serve([this] {
        const std::string answer = Publish("{}");

        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_TRUE(Has(answer, "Content-Length: 0"));
        EXPECT_EQ(answer.find("X-Server-instance"), std::string::npos);
    });

    EXPECT_TRUE(log.has("7 src/HabEventServer: Done handling request, sent to noone\n"));
}

TEST_F(PushChannels, TakeAPublicationByPut) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();

        const std::string answer = publisher.exchange(
            "PUT /publish?channel=a HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
            "Content-Length: 2\r\n\r\n{}");

        EXPECT_EQ(StatusOf(answer), kOk);
        EXPECT_EQ(EventsOf(publisher.exchange(Subscription("?channel=a"))).size(), 1U);
    });
}

TEST_F(PushChannels, RefuseToPublishByOtherMethods) {
    const CapturedLog log;
    Serve([this] {
        for (const std::string method : {"GET", "DELETE"}) {
            EXPECT_EQ(StatusOf(m_server.connect().exchange(
                          method + " /publish?channel=a HTTP/1.1\r\nHost: x\r\n\r\n")),
                      "HTTP/1.1 405 Method Not Allowed");
        }
    });

    EXPECT_EQ(log.count("3 src/HabEventServer: Unsupported HTTP method"), 2);
}

TEST_F(PushChannels, RefuseToPublishAnyOtherType) {
    const CapturedLog log;
    Serve([this] {
        for (const char* header : {"", "Content-Type: application/json; charset=utf-8\r\n",
                                   "Content-Type: Application/JSON\r\n", "Content-Type: text/plain\r\n"}) {
            EXPECT_EQ(StatusOf(m_server.connect().exchange(Publication("?channel=a", "{}", header))),
                      "HTTP/1.1 415 Unsupported Media Type")
                << header;
        }
    });

    EXPECT_TRUE(log.has("3 src/HabEventServer: Unsupported MIME type 'application/json; charset=utf-8'"));
}

TEST_F(PushChannels, LetOnlyTheLoopbackPublish) {
    const CapturedLog log;
    Serve([this] {
        EXPECT_EQ(StatusOf(ExchangeFrom("127.0.0.2", m_server, Publication("?channel=a", "{}"))), kForbidden);
    });

    EXPECT_TRUE(log.has("3 src/HabEventServer: Unauthorized publish request from non-local host "));
}

TEST_F(PushChannels, TakeAnyAddressThatBeginsLikeTheLoopbacks) {
    Serve([this] {
        EXPECT_EQ(StatusOf(ExchangeFrom("127.0.0.17", m_server, Publication("?channel=a", "{}"))), kOk);
    });
}

TEST_F(PushChannels, LookAtTheMethodBeforeTheTypeAndAtTheTypeBeforeTheAddress) {
    Serve([this] {
        EXPECT_EQ(StatusOf(ExchangeFrom("127.0.0.2", m_server,
                                        "GET /publish?channel=a HTTP/1.1\r\nHost: x\r\n\r\n")),
                  "HTTP/1.1 405 Method Not Allowed");
        EXPECT_EQ(StatusOf(ExchangeFrom("127.0.0.2", m_server, Publication("?channel=a", "{}", ""))),
                  "HTTP/1.1 415 Unsupported Media Type");
    });
}

TEST_F(PushChannels, StoreNothingFromAPublisherWithoutAQuery) {
    Serve([this] {
        EXPECT_EQ(StatusOf(m_server.connect().exchange(Publication("", "{}"))), kOk);

        Publish("{}");
        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), Events{R"({"id":1})"});
    });
}

TEST_F(PushChannels, RefuseAPublisherWithoutAChannel) {
    Serve([this] {
        for (const char* query : {"?", "?fromId=1", "?channel="}) {
            EXPECT_EQ(StatusOf(m_server.connect().exchange(Publication(query, "{}"))), kBadRequest) << query;
        }
    });
}

TEST_F(PushChannels, RefuseAnEmptyPublicationWithATextOfTheirOwn) {
    Serve([this] { EXPECT_EQ(StatusOf(Publish("")), "HTTP/1.1 503 Internal Server Error"); });
}

TEST_F(PushChannels, UseUpTheIdOfAnEmptyPublication) {
    Serve([this] {
        Publish("");
        Publish("{}");

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), Events{R"({"id":2})"});
    });
}

TEST_F(PushChannels, KeepA101EventsOfAChannelThatNobodyReads) {
    Serve([this] {
        PublishEvents(102);

        const Events events = EventsOf(m_server.connect().exchange(Subscription("?channel=a&fromId=0")));

        ASSERT_EQ(events.size(), 101U);
        EXPECT_EQ(events.front(), R"({"n":2,"id":2})");
        EXPECT_EQ(events.back(), R"({"n":102,"id":102})");
    });
}

TEST_F(PushChannels, DropOldEventsOfAllChannelsWithAPublicationToAny) {
    const CapturedLog log;
    Serve([this] {
        PublishEvents(101);
        m_server.connect().exchange(Publication("?channel=b", "{}"));

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))).size(), 100U);
    });

    EXPECT_EQ(log.count("7 src/HabEventServer: Deleting old event entry"), 1);
}

TEST_F(PushChannels, LeaveOutAnEventThatIsNoJson) {
    Serve([this] {
        EXPECT_EQ(StatusOf(Publish("{no json")), kOk);
        Publish("{}");

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), Events{R"({"id":2})"});
    });
}

TEST_F(PushChannels, LeaveOutAnEventOfMoreThan200000Values) {
    std::string many = "[0";
    for (int i = 0; i < 200000; ++i) {
        many += ",0";
    }
    Serve([&] {
        EXPECT_EQ(StatusOf(Publish(many + "]")), kOk);
        Publish("{}");

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), Events{R"({"id":2})"});
    });
}

TEST_F(PushChannels, AnswerAWaitingSubscriberWithAnEmptyListWhenNoEventIsJson) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));

        Publish("{no json");

        const std::string answer = subscriber.receive();
        EXPECT_NE(answer.find("{\"settings-update\":[]}"), std::string::npos) << answer;
    });
}

TEST_F(PushChannels, PassOnEventsThatAreNoObjectsWithoutAnId) {
    Serve([this] {
        Publish("[1, 2]");
        Publish("5");

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), (Events{"[1,2]", "5"}));
    });
}

TEST_F(PushChannels, HandOutAnEventThatNestsDeeply) {
    std::string deep;
    for (int level = 0; level < 900; ++level) {
        deep += R"({"":)";
    }
    deep += "{";
    for (int member = 0; member < 100000; ++member) {
        deep += R"("":1,)";
    }
    deep += R"("":1})" + std::string(900, '}');
    Serve([&] {
        EXPECT_EQ(StatusOf(Publish(deep)), kOk);

        const std::string answer = m_server.connect().exchange(Subscription("?channel=a"));

        // One of the two sizes would be a hundred times the other, were every member set on a line of its own.
        EXPECT_LT(answer.size(), deep.size() + 1000);
        EXPECT_EQ(EventsOf(answer).size(), 1U);
    });
}

TEST_F(PushChannels, AnswerManyWaitingSubscribersWithOneCopyOfTheEvents) {
    const std::string large = "{\"text\": \"" + std::string(1000000, 'x') + "\"}";
    Serve([&] {
        std::list<RawHttpClient> subscribers;
        for (int n = 0; n < 50; ++n) {
            subscribers.push_back(m_server.connect());
            subscribers.back().send(Subscription("?channel=a"));
        }
        ASSERT_TRUE(Waits(50));
        RawHttpClient publisher = m_server.connect();
        const std::size_t before = mallinfo2().uordblks;
        publisher.send(Publication("?channel=a", large));
        ASSERT_TRUE(Waits(0));

        EXPECT_LT(mallinfo2().uordblks, before + 20000000);
    });
}

TEST_F(PushChannels, BeginTheIdsAnewAfterTheirLast) {
    Serve([this] {
        m_server.setNextEventId(4294967294UL);
        Publish("{}");
        Publish("{}");

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))),
                  (Events{R"({"id":4294967294})", R"({"id":1})"}));
    });
}

TEST_F(PushChannels, CutAnEventAtANul) {
    Serve([this] {
        Publish(std::string("{}\0rest", 7));

        EXPECT_EQ(EventsOf(m_server.connect().exchange(Subscription("?channel=a"))), Events{R"({"id":1})"});
    });
}

// The headers of a long-poll reply.

TEST_F(PushChannels, GiveTheEtagOfTheLastEventAndTheDateOfThePublisher) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));

        m_server.connect().exchange(Publication("?channel=a", "{}",
                                                "Content-Type: application/json\r\nEtag: e1\r\n"
                                                "Last-Modified: Sat Nov 21 10:00:00 2026\r\n"));

        const std::string answer = subscriber.receive();
        EXPECT_TRUE(Has(answer, "Etag: e1"));
        EXPECT_TRUE(Has(answer, "Last-Modified: Sat Nov 21 10:00:00 2026"));
    });
}

TEST_F(PushChannels, GiveTheEtagOfTheFirstStoredEventWhenNoneIsNew) {
    Serve([this] {
        const std::string type = "Content-Type: application/json\r\n";
        m_server.connect().exchange(Publication("?channel=a", "{}", type + "Etag: first\r\n"));
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a&fromId=9"));
        ASSERT_TRUE(Waits(1));

        m_server.connect().exchange(Publication("?channel=a", "{}", type + "Etag: second\r\n"));

        EXPECT_TRUE(Has(subscriber.receive(), "Etag: first"));
    });
}

TEST_F(PushChannels, LeaveOutAnEmptyEtagAndTheDateOfAPublisherWithoutOne) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));

        Publish("{}");

        const std::string answer = subscriber.receive();
        EXPECT_EQ(answer.find("Etag"), std::string::npos);
        EXPECT_EQ(answer.find("Last-Modified"), std::string::npos);
    });
}

// The log.

TEST_F(PushChannels, LogASubscriptionAndItsAnswer) {
    const CapturedLog log;
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send(Subscription("?channel=a"));
        ASSERT_TRUE(Waits(1));
        Publish("{}");
        subscriber.receive();
    });

    EXPECT_TRUE(log.has("6 src/HabEventServer: \n\nHabEventServer::subscribe_handler()"));
    EXPECT_TRUE(log.has("6 src/HabEventServer: Request for /activity, channel=a - channel: a, fromId: N/A"));
    EXPECT_TRUE(log.has("6 src/HabEventServer: Pending events: 0, pending requests: 0"));
    EXPECT_TRUE(log.has("7 src/HabEventServer: No answer for client - set up for long poll"));
    EXPECT_TRUE(log.has("6 src/HabEventServer: HabEventServer::publish_handler()"));
    EXPECT_TRUE(log.has("7 src/HabEventServer: 1 pending requests"));
    EXPECT_TRUE(log.has("7 src/HabEventServer: Handling stored events"));
    EXPECT_TRUE(log.has("7 src/HabEventServer: insertIter start: ()"));
    EXPECT_TRUE(log.has("7 src/HabEventServer: added id=1, "));
    EXPECT_TRUE(log.has("7 src/HabEventServer: Request in set - sending reply to 127.0.0.1"));
}

TEST_F(PushChannels, LogNoLinesOfAClientsOwn) {
    const CapturedLog log;
    Serve([this] { m_server.connect().exchange(Publication("?channel=a%0a%5Berror%5D&fromId=%0a1", "{}")); });

    EXPECT_TRUE(
        log.has("6 src/HabEventServer: Request for /publish, channel=a%0a%5Berror%5D&fromId=%0a1 - channel: "
                "a?[error], "
                "fromId: ?1"));
}

TEST(PushEntryPoints, StopTheProcessWithoutTheirServer) {
    EXPECT_DEATH(subscribe_handlerCb(nullptr, nullptr), "arg != __null");
    EXPECT_DEATH(publish_handlerCb(nullptr, nullptr), "arg != __null");
}
