// SPDX-License-Identifier: MIT

#include "src/http/http_reply.h"

#include <event2/buffer.h>
#include <event2/http.h>
#include <gmock/gmock.h>

#include "HttpFixture.h"

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

constexpr const char* kGet = "GET / HTTP/1.1\r\nHost: unit\r\n\r\n";
constexpr const char* kHead = "HEAD / HTTP/1.1\r\nHost: unit\r\n\r\n";

class HttpReply : public HttpFixture {
  protected:
    // The server's handler that answers every request with this body.
    void answerWith(int code, const char* reason, const char* text) {
        onRequest = [=](evhttp_request* req) {
            const BufferPtr body(evbuffer_new());
            evbuffer_add_printf(body.get(), "%s", text);
            http_send_reply(req, code, reason, body.get());
        };
    }
    void answerWithError(int code, const char* reason) {
        onRequest = [=](evhttp_request* req) { http_send_error(req, code, reason); };
    }
};

class HttpError : public HttpReply {};

}  // namespace

TEST_F(HttpReply, SendsCodeReasonAndBody) {
    answerWith(201, "Made", "{\"a\":1}");

    const std::string answer = connect().exchange(kGet);

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 201 Made\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Length: 7\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n{\"a\":1}"));
}

TEST_F(HttpReply, TakesThePhraseForANullReason) {
    answerWith(404, nullptr, "");

    EXPECT_THAT(connect().exchange(kGet), StartsWith("HTTP/1.1 404 Not Found\r\n"));
}

TEST_F(HttpReply, TakesADashForACodeWithoutPhrase) {
    answerWith(299, nullptr, "");

    EXPECT_THAT(connect().exchange(kGet), StartsWith("HTTP/1.1 299 -\r\n"));
}

TEST_F(HttpReply, KeepsControlCharactersOffTheStatusLine) {
    answerWith(200, "OK\r\nX-Evil: 1\t\x7f", "");

    const std::string answer = connect().exchange(kGet);

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OKX-Evil: 1\r\n"));
}

TEST_F(HttpReply, KeepsControlCharactersOutOfHeaderValues) {
    onRequest = [](evhttp_request* req) {
        http_add_header(req, "X-Name", "a\r\n\r\nb\nc");
        http_send_reply(req, 200, nullptr, nullptr);
    };

    EXPECT_THAT(connect().exchange(kGet), HasSubstr("\r\nX-Name: abc\r\n"));
}

TEST_F(HttpReply, IgnoresAHeaderWithoutNameOrValue) {
    onRequest = [](evhttp_request* req) {
        http_add_header(req, nullptr, "value");
        http_add_header(req, "X-Name", nullptr);
        http_send_reply(req, 200, nullptr, nullptr);
    };

    EXPECT_THAT(connect().exchange(kGet), Not(HasSubstr("X-Name")));
}

TEST_F(HttpReply, SendsNoBodyToHead) {
    answerWith(200, nullptr, "body");
    RawHttpClient client = connect();

    client.exchange(kHead);

    EXPECT_EQ(client.pending(), "");
}

TEST_F(HttpReply, SendsNoBodyWithNoContent) {
    answerWith(204, nullptr, "body");
    RawHttpClient client = connect();

    client.exchange(kGet);

    EXPECT_EQ(client.pending(), "");
}

TEST_F(HttpReply, ToAClientThatIsGoneFreesTheRequest) {
    evhttp_request* orphan = requestOfGoneClient();

    http_send_reply(orphan, 200, nullptr, nullptr);

    answerWith(200, "still here", "");
    EXPECT_THAT(connect().exchange(kGet), HasSubstr("still here"));
}

TEST_F(HttpError, IsAPageWithStatusAndReason) {
    answerWithError(403, "Forbidden");

    const std::string answer = connect().exchange(kGet);

    EXPECT_THAT(answer, StartsWith("HTTP/1.1 403 Forbidden\r\n"));
    EXPECT_THAT(answer, HasSubstr("\r\nContent-Type: text/html\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\n<HTML><HEAD>\n<TITLE>403 Forbidden</TITLE>\n</HEAD><BODY>\n"
                                 "<H1>Forbidden</H1>\n</BODY></HTML>\n"));
}

TEST_F(HttpError, KeepsTheHeadersAddedBefore) {
    onRequest = [](evhttp_request* req) {
        http_add_header(req, "X-Server-instance", "0x1234");
        http_send_error(req, 404, nullptr);
    };

    EXPECT_THAT(connect().exchange(kGet), HasSubstr("\r\nX-Server-instance: 0x1234\r\n"));
}

TEST_F(HttpError, ReplacesAContentTypeAddedBefore) {
    onRequest = [](evhttp_request* req) {
        http_add_header(req, "Content-Type", "application/json");
        http_send_error(req, 404, nullptr);
    };

    EXPECT_THAT(connect().exchange(kGet), Not(HasSubstr("application/json")));
}

TEST_F(HttpError, LeavesTheConnectionOpen) {
    answerWithError(404, nullptr);
    RawHttpClient client = connect();

    const std::string first = client.exchange(kGet);
    const std::string second = client.exchange(kGet);

    EXPECT_THAT(first, Not(HasSubstr("Connection: close")));
    EXPECT_THAT(second, HasSubstr("HTTP/1.1 404 Not Found\r\n"));
}

TEST_F(HttpError, ClosesTheConnectionOfAClientThatAsksForIt) {
    answerWithError(404, nullptr);
    RawHttpClient client = connect();

    client.exchange("GET / HTTP/1.1\r\nConnection: close\r\n\r\n");

    EXPECT_TRUE(client.isClosedByServer());
}

TEST_F(HttpError, SendsNoPageToHead) {
    answerWithError(404, nullptr);
    RawHttpClient client = connect();

    client.exchange(kHead);

    EXPECT_EQ(client.pending(), "");
}
