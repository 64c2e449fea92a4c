#include <malloc.h>

#include <list>
#include <vector>

#include "EventServerFixture.h"

namespace {

constexpr const char* kOk = "HTTP/1.1 200 OK";
constexpr const char* kBadRequest = "HTTP/1.1 400 Bad Request";
constexpr const char* kForbidden = "HTTP/1.1 403 Forbidden";

class PushChannels : public EventServerFixture {
  protected:
    PushChannels() { m_server.setInstanceId(0x1a2b3c); }

    static std::string Subscription(const std::string& query) {
        return "GET /activity" + query + " HTTP/1.1\r\nHost: x\r\n\r\n";
    }
    static std::string Publication(const std::string& query, const std::string& body,
                                   const std::string& headers = "Content-Type: application/json\r\n") {
        return "POST /publish" + query + " HTTP/1.1\r\nHost: x\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    // Publishes to the channel "a".
    std::string Publish(const std::string& body) {
        return m_server.connect().exchange(Publication("?channel=a", body));
    }
    // Events with the ids 1 to `count`: {"n": id}.
    void PublishEvents(int count) {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= count; ++n) {
            publisher.exchange(Publication("?channel=a", "{\"n\": " + std::to_string(n) + "}"));
        }
    }
    // Turns the loop until that many requests wait.
    bool Waits(std::size_t count) {
        return pump_until(m_server.getEventbase(), [&] { return m_server.waitingRequests() == count; });
    }
    // The events of a reply, each as its text.
    static std::vector<std::string> EventsOf(const std::string& answer) {
        std::vector<std::string> events;
        const std::size_t begin = answer.find('{');
        const std::size_t end = answer.rfind('}');
        const JsonPtr update(begin < end ? cJSON_Parse(answer.substr(begin, end + 1 - begin).c_str())
                                         : nullptr);
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, cJSON_GetObjectItemCaseSensitive(update.get(), "settings-update")) {
            events.emplace_back(JsonText(cJSON_PrintUnformatted(event)).get());
        }
        return events;
    }
    using Events = std::vector<std::string>;
};

bool Has(const std::string& answer, const std::string& line) {
    return answer.find("\r\n" + line + "\r\n") != std::string::npos;
}

// A client with an address of its own on the loopback.
std::string ExchangeFrom(const char* address, ScriptedServer& server, const std::string& request) {
    return RawHttpClient(server.getEventbase(), static_cast<std::uint16_t>(server.boundPort()), address)
        .exchange(request);
}

}  // namespace

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

    EXPECT_TRUE(log.has("3 src/HabEventServer: No channel in request for /activity, fromId=1"));
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

TEST_F(PushChannels, KeepNoChannelThatOnlyRefusedClientsAskedFor) {
    Serve([this] {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= 79; ++n) {
            publisher.exchange(Publication("?channel=c" + std::to_string(n), "{}"));
        }

        for (int n = 0; n < 5; ++n) {
            m_server.connect().exchange(Subscription("?channel=x" + std::to_string(n)));
        }

        EXPECT_EQ(m_server.channels(), 79U);
    });
}

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
