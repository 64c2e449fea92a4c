// SPDX-License-Identifier: MIT

// What a client may take: time, memory, connections.

#include "src/http/evhttp_hooks.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <vector>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>
#include <event2/http.h>
#include <event2/http_struct.h>
#include <event2/keyvalq_struct.h>
#include <gmock/gmock.h>

#include "EvhttpHooksFixture.h"

// Age.

TEST_F(EvhttpHooks, CloseAConnectionWhoseRequestStaysIncomplete) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);

    evhttp_hooks_close_stale(m_http.get(), 0);

    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(EvhttpHooks, CountTheAgeFromTheStartHoweverManyBytesDribbleIn) {
    RawHttpClient client = connect();
    client.send("G");
    client.pending();
    client.send("ET");
    client.pending();

    evhttp_hooks_close_stale(m_http.get(), 10);

    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(EvhttpHooks, CloseAConnectionThatIdlesAfterItsAnswer) {
    RawHttpClient client = connect();
    client.exchange(kGet);
    client.pending();

    evhttp_hooks_close_stale(m_http.get(), 0);

    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(EvhttpHooks, LeaveAYoungRequestAlone) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);

    evhttp_hooks_close_stale(m_http.get(), 60000);

    EXPECT_NE(client.exchange("abcdef"), "");
}

TEST_F(EvhttpHooks, LeaveARequestThatWaitsForItsAnswerAlone) {
    onRequest = [this](evhttp_request*) { m_events.emplace_back("waiting"); };
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(2);

    evhttp_hooks_close_stale(m_http.get(), 0);
    evhttp_send_reply(m_request, 200, "OK", nullptr);

    EXPECT_NE(client.receive(), "");
}

TEST_F(EvhttpHooks, LeaveAnAnswerThatIsReadSlowlyAlone) {
    onRequest = SendLargeAnswer;
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(1);

    evhttp_hooks_close_stale(m_http.get(), 0);

    EXPECT_GT(client.receive().size(), kLargeAnswer);
}

// The library's limit is on the time since the client last sent something, which it does not do while it reads.
TEST_F(EvhttpHooks, LeaveAReaderAsLongAsItTakes) {
    onRequest = SendLargeAnswer;
    m_readLimit = {0, 20000};
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(1);

    TurnFor(std::chrono::milliseconds(100));

    EXPECT_GT(client.receive().size(), kLargeAnswer);
}

TEST_F(EvhttpHooks, CloseTheConnectionOfAClientThatTakesNothingOfItsAnswer) {
    onRequest = SendLargeAnswer;
    m_writeLimit = {0, 20000};
    RawHttpClient client = connect();
    client.send(kGet);

    ASSERT_TRUE(SeesEvents(2));

    EXPECT_EQ(m_events, (Events{"headers", "gone"}));
    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(EvhttpHooks, LeaveConnectionsOfOtherServersAlone) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);
    const COwned<evhttp, evhttp_hooks_free> other(evhttp_new(m_base.get()));
    evhttp_set_prehandle_cb(other.get(), onHeaders, this);

    evhttp_hooks_close_stale(other.get(), 0);

    EXPECT_NE(client.exchange("abcdef"), "");
}

// Headers.

TEST_F(EvhttpHooks, TakeAsManyHeadersAsThereMayBe) {
    EXPECT_NE(connect().exchange("GET /a HTTP/1.1\r\n" + Headers(256) + "\r\n"), "");

    EXPECT_EQ(m_events, (Events{"headers", "request ", "gone"}));
}

TEST_F(EvhttpHooks, CloseAConnectionWithTooManyHeaders) {
    RawHttpClient client = connect();
    client.send("GET /a HTTP/1.1\r\n" + Headers(257) + "\r\n");

    EXPECT_TRUE(client.isClosedByServer());
    EXPECT_TRUE(client.receive().starts_with("HTTP/1.1 400"));
    EXPECT_EQ(std::ranges::count(m_events, "headers"), 0);
}

TEST_F(EvhttpHooks, CloseAConnectionWithTooManyHeadersBeforeTheyEnd) {
    RawHttpClient client = connect();
    client.send("GET /a HTTP/1.1\r\n" + Headers(257));

    EXPECT_TRUE(client.isClosedByServer());
}

// Some versions of the library forget them, others add them to those in front of the body.
TEST_F(EvhttpHooks, KeepFewHeadersBehindABodyInChunks) {
    std::size_t most = 0;
    onRequest = [&most](evhttp_request* req) {
        for (const evkeyval* header = req->input_headers->tqh_first; header != nullptr;
             header = header->next.tqe_next) {
            ++most;
        }
        evhttp_send_reply(req, 200, "OK", nullptr);
    };

    EXPECT_NE(connect().exchange(kChunkedHeaders + std::string("1\r\nx\r\n0\r\n") + Headers(5000) + "\r\n"),
              "");

    EXPECT_LE(most, kMaxHttpHeaders);
}

TEST_F(EvhttpHooks, CountTheHeadersOfEachRequestByThemselves) {
    RawHttpClient client = connect();

    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(client.exchange("GET /a HTTP/1.1\r\n" + Headers(200) + "\r\n"), "");
    }
}

// Input without a limit of its own.

TEST_F(EvhttpHooks, StopReadingAChunkLengthThatNeverEnds) {
    RawHttpClient client = connect();
    client.send(kChunkedHeaders);
    SeesEvents(1);

    client.send(std::string(20000, '1'));

    EXPECT_TRUE(StopsReading());
}

TEST_F(EvhttpHooks, GoOnReadingAChunkLengthThatComesInPieces) {
    RawHttpClient client = connect();
    client.send(kChunkedHeaders);
    client.send("0000");
    client.pending();

    EXPECT_NE(client.exchange("1\r\na\r\n0\r\n\r\n"), "");
}

TEST_F(EvhttpHooks, GoOnReadingManyChunksThatComeAtOnce) {
    evhttp_set_max_body_size(m_http.get(), 100000);
    RawHttpClient client = connect();
    std::string chunks;
    for (int i = 0; i < 10000; ++i) {
        chunks += "1\r\nx\r\n";
    }

    EXPECT_NE(client.exchange(kChunkedHeaders + chunks + "0\r\n\r\n"), "");
}

TEST_F(EvhttpHooks, StopReadingRequestsThatPileUpBehindAnAnswer) {
    onRequest = SendLargeAnswer;
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(1);

    client.send(std::string(200000, 'x'));

    EXPECT_TRUE(StopsReading());
}

TEST_F(EvhttpHooks, StopReadingWhatComesBehindABrokenRequestWhoseAnswerIsNotTaken) {
    bufferevent* connection = nullptr;
    onRequest = [&connection](evhttp_request* req) {
        connection = evhttp_connection_get_bufferevent(evhttp_request_get_connection(req));
        evhttp_send_reply(req, 200, "OK", nullptr);
    };
    RawHttpClient client = connect();
    client.exchange(kGet);
    FillSendBuffer(bufferevent_getfd(connection));

    client.send("broken\r\n\r\n");
    client.send(std::string(1000000, 'x'));

    EXPECT_TRUE(StopsReadingFrom(connection));
}

TEST_F(EvhttpHooks, GoOnWithThePiledUpRequestsAfterTheAnswer) {
    onRequest = SendLargeAnswer;
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(1);
    std::string requests;
    for (int i = 0; i < 4000; ++i) {
        requests += kGet;
    }
    client.send(requests);
    StopsReading();

    EXPECT_GT(client.receive().size(), kLargeAnswer);
    EXPECT_GT(client.receive().size(), kLargeAnswer);
}

TEST_F(EvhttpHooks, KeepFewRequestsInMemoryHoweverFastTheyCome) {
    std::size_t most = 0;
    onRequest = [&most](evhttp_request* req) {
        bufferevent* connection = evhttp_connection_get_bufferevent(evhttp_request_get_connection(req));
        most = std::max(most, evbuffer_get_length(bufferevent_get_input(connection)));
        evhttp_send_reply(req, 200, "OK", nullptr);
    };
    RawHttpClient client = connect();
    std::string requests;
    for (int i = 0; i < 20000; ++i) {
        requests += "GET /a HTTP/1.1\r\nX: " + std::string(200, 'x') + "\r\n\r\n";
    }

    EXPECT_TRUE(client.send(requests));
    client.pending();

    EXPECT_LT(most, 100000U);
}

TEST_F(EvhttpHooks, ReadALongBodyAtFullSpeedBehindPiledUpRequests) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    std::size_t longest = 0;
    onRequest = [&longest](evhttp_request* req) {
        longest = std::max(longest, TakeBody(req).size());
        evhttp_send_reply(req, 200, "OK", nullptr);
    };
    RawHttpClient client = connect();
    std::string requests;
    for (int i = 0; i < 4000; ++i) {
        requests += kGet;
    }
    requests += "PUT /a HTTP/1.1\r\nContent-Length: 8000000\r\n\r\n" + std::string(8000000, 'x');

    EXPECT_TRUE(client.send(requests));

    EXPECT_TRUE(pump_until(m_base.get(), [&longest] { return longest == 8000000; }));
}

// Bodies in memory.

TEST_F(EvhttpHooks, PackABodyThatComesInTinyChunks) {
    EXPECT_EQ(BlocksOfTinyChunks(kChunkedHeaders), 1);
}

// The library takes more for chunks than this one word.
TEST_F(EvhttpHooks, PackABodyThatComesInTinyChunksHoweverThatIsSpelled) {
    EXPECT_EQ(BlocksOfTinyChunks("POST /a HTTP/1.1\r\nTransfer-Encoding:\tchunked\r\n\r\n"), 1);
}

TEST_F(EvhttpHooks, CloseTheConnectionThatHoldsMostOfTooMuch) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    evhttp_hooks_set_max_held(m_http.get(), 1000000);
    RawHttpClient largest = connect();
    RawHttpClient second = connect();
    RawHttpClient third = connect();
    BeginPut(largest, 700000, 600000);
    BeginPut(second, 300000, 250000);

    BeginPut(third, 300000, 200000);

    EXPECT_TRUE(largest.isClosedByServer());
    EXPECT_NE(second.exchange(std::string(50000, 'x')), "");
    EXPECT_NE(third.exchange(std::string(100000, 'x')), "");
}

TEST_F(EvhttpHooks, CountWhatIsHeldOfABodyInChunks) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    evhttp_hooks_set_max_held(m_http.get(), 1000000);
    RawHttpClient largest = connect();
    largest.send(kChunkedHeaders);
    for (int i = 0; i < 600; ++i) {
        largest.send("3e8\r\n" + std::string(1000, 'x') + "\r\n");
    }
    largest.pending();
    RawHttpClient second = connect();

    BeginPut(second, 600000, 500000);

    EXPECT_TRUE(largest.isClosedByServer());
    EXPECT_NE(second.exchange(std::string(100000, 'x')), "");
}

TEST_F(EvhttpHooks, LeaveBodiesThatAreHeldOneAfterTheOtherAlone) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    evhttp_hooks_set_max_held(m_http.get(), 1000000);
    RawHttpClient client = connect();

    for (int i = 0; i < 5; ++i) {
        BeginPut(client, 800000, 700000);
        EXPECT_NE(client.exchange(std::string(100000, 'x')), "");
    }
}

// Answers in memory.

TEST_F(EvhttpHooks, CloseAConnectionThatDoesNotReadForTheNextAnswer) {
    RawHttpClient first = ClientThatDoesNotRead();
    RawHttpClient second = connect();

    EXPECT_GT(second.exchange(kGet).size(), kLargeAnswer);

    EXPECT_LT(first.receive().size(), kLargeAnswer);
}

TEST_F(EvhttpHooks, CloseAConnectionThatDoesNotReadForABody) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    RawHttpClient first = ClientThatDoesNotRead();
    RawHttpClient second = connect();

    BeginPut(second, 300000, 200000);

    EXPECT_LT(first.receive().size(), kLargeAnswer);
    EXPECT_GT(second.exchange(std::string(100000, 'x')).size(), kLargeAnswer);
}

TEST_F(EvhttpHooks, CloseAsManyConnectionsAsAnAnswerNeeds) {
    evhttp_set_max_body_size(m_http.get(), 10000000);
    evhttp_hooks_set_max_held(m_http.get(), kLargeAnswer + 100000);
    onRequest = HoldLargeAnswer;
    RawHttpClient first = connect();
    RawHttpClient second = connect();
    RawHttpClient small = connect();
    BeginPut(first, 8000000, 7000000);
    BeginPut(second, 8000000, 7000000);
    BeginPut(small, 60000, 50000);

    EXPECT_GT(connect().exchange(kGet).size(), kLargeAnswer);

    EXPECT_TRUE(first.isClosedByServer());
    EXPECT_TRUE(second.isClosedByServer());
    EXPECT_GT(small.exchange(std::string(10000, 'x')).size(), kLargeAnswer);
}

TEST_F(EvhttpHooks, HoldNoMoreAnswersThanTheLimitInOneTurnOfTheLoop) {
    std::list<RawHttpClient> clients;
    for (int i = 0; i < 6; ++i) {
        clients.push_back(connect());
        clients.back().exchange(kGet);
    }
    evhttp_hooks_set_max_held(m_http.get(), kLargeAnswer + 100000);
    std::size_t most = 0;
    std::vector<bufferevent*> connections;
    onRequest = [&](evhttp_request* req) {
        connections.push_back(evhttp_connection_get_bufferevent(evhttp_request_get_connection(req)));
        HoldLargeAnswer(req);
        std::size_t held = 0;
        for (bufferevent* connection : connections) {
            held += evbuffer_get_length(bufferevent_get_output(connection));
        }
        most = std::max(most, held);
    };
    for (RawHttpClient& client : clients) {
        client.sendOnce(kGet);
    }

    event_base_loop(m_base.get(), EVLOOP_ONCE);

    EXPECT_EQ(connections.size(), clients.size());
    EXPECT_LT(most, kLargeAnswer + 100000);
}

TEST_F(EvhttpHooks, LetALoneAnswerGoOutHoweverLongItIs) {
    evhttp_hooks_set_max_held(m_http.get(), 1000000);
    onRequest = HoldLargeAnswer;
    RawHttpClient small = connect();
    BeginPut(small, 60, 50);
    RawHttpClient client = connect();

    for (int i = 0; i < 3; ++i) {
        EXPECT_GT(client.exchange(kGet).size(), kLargeAnswer);
    }

    EXPECT_GT(small.exchange(std::string(10, 'x')).size(), kLargeAnswer);
}

// Connections.

TEST_F(EvhttpHooks, CloseAConnectionAboveTheLimitAtOnce) {
    LimitConnections(2);
    const RawHttpClient first = connect();
    const RawHttpClient second = connect();
    RawHttpClient third = connect();

    EXPECT_TRUE(third.isClosedByServer());
    EXPECT_EQ(m_refused, 1);
}

TEST_F(EvhttpHooks, GoOnServingTheConnectionsOfAFullServer) {
    LimitConnections(2);
    RawHttpClient first = connect();
    RawHttpClient second = connect();

    for (int i = 0; i < 3; ++i) {
        EXPECT_NE(first.exchange(kGet), "");
        EXPECT_NE(second.exchange(kGet), "");
    }

    EXPECT_EQ(m_refused, 0);
}

TEST_F(EvhttpHooks, TakeANewConnectionWhenAnotherHasEnded) {
    LimitConnections(1);
    RawHttpClient first = connect();
    first.exchange(kGet);
    first.close();
    SeesEvents(4);

    EXPECT_NE(connect().exchange(kGet), "");
}

TEST_F(EvhttpHooks, DoNotCountARequestWhoseClientHasLeft) {
    LimitConnections(1);
    const COwned<evhttp_request, evhttp_request_free> waiting(requestOfGoneClient());
    onRequest = [](evhttp_request* req) { evhttp_send_reply(req, 200, "OK", nullptr); };

    EXPECT_NE(connect().exchange(kGet), "");
}

TEST_F(EvhttpHooks, LimitNoConnectionsUnlessTold) {
    std::list<RawHttpClient> clients;
    for (int i = 0; i < 20; ++i) {
        clients.push_back(connect());
        EXPECT_NE(clients.back().exchange(kGet), "");
    }
}

TEST_F(EvhttpHooks, KnowThePeersOfTheirConnections) {
    RawHttpClient first = connect();
    RawHttpClient second(m_base.get(), m_port, "127.0.0.2");
    first.exchange(kGet);
    second.exchange(kGet);

    EXPECT_THAT(evhttp_hooks_peers(m_http.get()), testing::UnorderedElementsAre("127.0.0.1", "127.0.0.2"));
}
