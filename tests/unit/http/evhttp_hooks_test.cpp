// SPDX-License-Identifier: MIT

#include "src/http/evhttp_hooks.h"

#include <algorithm>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/http_struct.h>

#include "EvhttpHooksFixture.h"

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
