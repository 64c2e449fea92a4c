#include "src/http/evhttp_hooks.h"

#include <algorithm>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/http_struct.h>

#include "HttpFixture.h"

namespace {

// A server with hooks that note what happens, in the order in which it happens.
class EvhttpHooks : public HttpFixture {
  protected:
    EvhttpHooks() {
        evhttp_set_max_body_size(m_http.get(), 100);
        evhttp_set_prehandle_cb(m_http.get(), onHeaders, this);
        evhttp_hooks_set_gone_cb(m_http.get(), onGone, this);
        onRequest = [this](evhttp_request* req) {
            m_events.emplace_back("request " + TakeBody(req));
            m_wasComplete = evhttp_hooks_is_complete(req);
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
    }
    ~EvhttpHooks() override { FreeServer(); }

    void FreeServer() { evhttp_hooks_free(m_http.release()); }

    static std::string TakeBody(evhttp_request* req) {
        evbuffer* input = evhttp_request_get_input_buffer(req);
        std::string body(evbuffer_get_length(input), '\0');
        evbuffer_remove(input, body.data(), body.size());
        return body;
    }

    // Turns the loop until `count` events have been noted.
    bool SeesEvents(std::size_t count) {
        return pump_until(m_base.get(), [&] { return m_events.size() >= count; });
    }

    // More than the sockets' buffers take.
    static constexpr std::size_t kLargeAnswer = 16UL * 1024 * 1024;
    static void SendLargeAnswer(evhttp_request* req) {
        const std::string large(kLargeAnswer, 'x');
        const BufferPtr body(evbuffer_new());
        evbuffer_add(body.get(), large.data(), large.size());
        evhttp_send_reply(req, 200, "OK", body.get());
    }

    // Whether the server stops reading from the connection of the request whose headers came last.
    bool StopsReading() {
        return pump_until(m_base.get(), [this] {
            bufferevent* connection =
                evhttp_connection_get_bufferevent(evhttp_request_get_connection(m_request));
            return (bufferevent_get_enabled(connection) & EV_READ) == 0;
        });
    }

    static void onHeaders(evhttp_request* req, void* arg) {
        auto* self = static_cast<EvhttpHooks*>(arg);
        self->m_events.emplace_back("headers");
        self->m_request = req;
        self->m_wasComplete = evhttp_hooks_is_complete(req);
        if (self->m_streams) {
            evhttp_request_set_chunked_cb(req, onPiece);
            evhttp_set_cb_arg(req, self);
        }
    }
    static void onPiece(evhttp_request* req, void* arg) {
        auto* self = static_cast<EvhttpHooks*>(arg);
        self->m_events.emplace_back("piece " + TakeBody(req));
        self->onPieceTaken(req);
    }
    static void onGone(evhttp_request*, void* arg) {
        static_cast<EvhttpHooks*>(arg)->m_events.emplace_back("gone");
    }

    using Events = std::vector<std::string>;
    Events m_events;
    evhttp_request* m_request = nullptr;
    bool m_wasComplete = false;
    bool m_streams = false;
    std::function<void(evhttp_request*)> onPieceTaken = [](evhttp_request*) {};
};

constexpr const char* kGet = "GET /a HTTP/1.1\r\nHost: x\r\n\r\n";
constexpr const char* kPostHeaders = "POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 6\r\n\r\n";
constexpr const char* kChunkedHeaders = "POST /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";

}  // namespace

// The order: headers, hook, body pieces, generic callback.

TEST_F(EvhttpHooks, RunTheHookWhenTheHeadersAreThereAndTheBodyIsNot) {
    RawHttpClient client = connect();

    client.send(kPostHeaders);

    ASSERT_TRUE(SeesEvents(1));
    EXPECT_EQ(m_events, Events{"headers"});
}

TEST_F(EvhttpHooks, DoNotRunTheHookBeforeTheHeadersAreComplete) {
    RawHttpClient client = connect();

    client.send("POST /a HTTP/1.1\r\nHost: x\r\n");
    client.pending();

    EXPECT_TRUE(m_events.empty());
}

TEST_F(EvhttpHooks, DeliverBodyPiecesAsTheyComeAndThenTheRequest) {
    m_streams = true;
    RawHttpClient client = connect();

    client.send(kPostHeaders);
    SeesEvents(1);
    client.send("abc");
    SeesEvents(2);
    client.send("def");
    client.receive();

    EXPECT_EQ(m_events, (Events{"headers", "piece abc", "piece def", "request ", "gone"}));
}

TEST_F(EvhttpHooks, DeliverTheChunksOfAChunkedBody) {
    m_streams = true;
    RawHttpClient client = connect();

    client.exchange(std::string(kChunkedHeaders) + "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n");

    EXPECT_EQ(m_events, (Events{"headers", "piece abc", "piece de", "request ", "gone"}));
}

TEST_F(EvhttpHooks, LeaveTheBodyWholeWithoutAPieceCallback) {
    RawHttpClient client = connect();

    client.exchange(std::string(kPostHeaders) + "abcdef");

    EXPECT_EQ(m_events, (Events{"headers", "request abcdef", "gone"}));
}

TEST_F(EvhttpHooks, RunForEveryRequestOfAConnection) {
    RawHttpClient client = connect();

    client.exchange(kGet);
    client.exchange(kGet);

    EXPECT_EQ(m_events, (Events{"headers", "request ", "gone", "headers", "request ", "gone"}));
}

TEST_F(EvhttpHooks, RunNoHookForARequestLineThatIsBroken) {
    RawHttpClient client = connect();

    const std::string answer = client.exchange("nonsense that is no request line\r\n\r\n");

    EXPECT_EQ(answer.rfind("HTTP/1.1 400", 0), 0U) << answer;
    EXPECT_EQ(std::count(m_events.begin(), m_events.end(), "headers"), 0);
}

// Completeness.

TEST_F(EvhttpHooks, CallARequestIncompleteBeforeItsBody) {
    m_wasComplete = true;
    RawHttpClient client = connect();

    client.send(kPostHeaders);
    SeesEvents(1);

    EXPECT_FALSE(m_wasComplete);
}

TEST_F(EvhttpHooks, CallARequestCompleteWhenItIsServed) {
    RawHttpClient client = connect();

    client.exchange(std::string(kPostHeaders) + "abcdef");

    EXPECT_TRUE(m_wasComplete);
}

// The end of a request.

TEST_F(EvhttpHooks, TellThatARequestIsGoneWhenItsClientLeavesBeforeTheBody) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);

    client.close();

    ASSERT_TRUE(SeesEvents(2));
    EXPECT_EQ(m_events, (Events{"headers", "gone"}));
}

TEST_F(EvhttpHooks, TellThatARequestIsGoneWhenItsBodyIsTooLong) {
    RawHttpClient client = connect();

    const std::string answer = client.exchange("POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 101\r\n\r\n");

    EXPECT_EQ(answer.rfind("HTTP/1.1 413", 0), 0U) << answer;
    ASSERT_TRUE(SeesEvents(2));
    EXPECT_EQ(m_events, (Events{"headers", "gone"}));
}

TEST_F(EvhttpHooks, TellThatARequestIsGoneWhenTheServerIsFreed) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);

    FreeServer();

    EXPECT_EQ(m_events, (Events{"headers", "gone"}));
}

TEST_F(EvhttpHooks, TellThatARequestIsGoneOnlyWhenThePieceInHandIsDone) {
    m_streams = true;
    onPieceTaken = [this](evhttp_request* req) {
        evhttp_connection_free(evhttp_request_get_connection(req));
        m_events.emplace_back("piece done");
    };
    RawHttpClient client = connect();

    client.send(std::string(kPostHeaders) + "abc");
    SeesEvents(4);

    EXPECT_EQ(m_events, (Events{"headers", "piece abc", "piece done", "gone"}));
}

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

TEST_F(EvhttpHooks, LeaveConnectionsOfOtherServersAlone) {
    RawHttpClient client = connect();
    client.send(kPostHeaders);
    SeesEvents(1);
    const COwned<evhttp, evhttp_hooks_free> other(evhttp_new(m_base.get()));
    evhttp_set_prehandle_cb(other.get(), onHeaders, this);

    evhttp_hooks_close_stale(other.get(), 0);

    EXPECT_NE(client.exchange("abcdef"), "");
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

TEST_F(EvhttpHooks, StopReadingRequestsThatPileUpBehindAnAnswer) {
    onRequest = SendLargeAnswer;
    RawHttpClient client = connect();
    client.send(kGet);
    SeesEvents(1);

    client.send(std::string(200000, 'x'));

    EXPECT_TRUE(StopsReading());
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

// Everything else passes through.

TEST_F(EvhttpHooks, LeaveClientRequestsToTheLibrary) {
    std::string status;
    evhttp_connection* connection = evhttp_connection_base_new(m_base.get(), nullptr, "127.0.0.1", m_port);
    const COwned<evhttp_connection, evhttp_connection_free> owner(connection);
    evhttp_request* req = evhttp_request_new(
        [](evhttp_request* answer, void* arg) {
            *static_cast<std::string*>(arg) = std::to_string(evhttp_request_get_response_code(answer));
        },
        &status);

    evhttp_make_request(connection, req, EVHTTP_REQ_GET, "/a");
    pump_until(m_base.get(), [&] { return !status.empty(); });

    EXPECT_EQ(status, "200");
    EXPECT_EQ(m_events, (Events{"headers", "request ", "gone"}));
}

TEST_F(HttpFixture, AServerWithoutHooksServesAsEver) {
    bool wasComplete = true;
    onRequest = [&wasComplete](evhttp_request* req) {
        wasComplete = evhttp_hooks_is_complete(req);
        evhttp_set_cb_arg(req, &wasComplete);
        evhttp_send_reply(req, 200, "OK", nullptr);
    };
    RawHttpClient client = connect();

    const std::string answer = client.exchange(kGet);

    EXPECT_EQ(answer.rfind("HTTP/1.1 200", 0), 0U) << answer;
    EXPECT_FALSE(wasComplete);
}

TEST_F(EvhttpHooks, EndTheRegistrationWithTheServer) {
    FreeServer();
    // In all likelihood at the address of the one just freed.
    m_http.reset(evhttp_new(m_base.get()));
    evhttp_bound_socket* bound = evhttp_bind_socket_with_handle(m_http.get(), "127.0.0.1", 0);
    m_port = local_port(evhttp_bound_socket_get_fd(bound));
    RawHttpClient client = connect();

    EXPECT_NE(client.exchange(kGet), "");

    EXPECT_TRUE(m_events.empty());
}

TEST_F(EvhttpHooks, TakeNoServerForAlreadyFreed) {
    evhttp_hooks_free(nullptr);

    EXPECT_NE(connect().exchange(kGet), "");
}
