// SPDX-License-Identifier: MIT

// Where a request ends, what of it comes back in headers, and how its answer goes out.

#include "src/http/HabEventServer.h"

#include <netinet/tcp.h>

#include <vector>

#include "EventServerFixture.h"
#include "HttpFixture.h"

namespace {

constexpr const char* kBadRequest = "HTTP/1.1 400 Bad Request";
constexpr const char* kHidden = "GET /hidden HTTP/1.1\r\nHost: x\r\n\r\n";

// A request whose body looks like another one.
class HiddenRequest : public EventServerFixture {
  protected:
    HiddenRequest() { HabDispatcher::registerUri("/hidden", 15, &m_handler); }

    // How often the body was served as a request.
    int ServedBehind(const std::string& request) {
        Serve([&] {
            RawHttpClient client = m_server.connect();
            client.send(request);
            client.receive();
            client.pending();
        });
        return m_handler.requests;
    }

    CountingHandler m_handler;
};

// What a publisher sends as an Etag goes to subscribers.
class PublishedEtag : public EventServerFixture {
  protected:
    static std::string Publication(const std::string& etag) {
        return "POST /publish?channel=a HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\nEtag: " +
               etag + "\r\nContent-Length: 2\r\n\r\n{}";
    }
};

class EveryMethod : public HiddenRequest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(HiddenRequest, EveryMethod,
                         testing::Values("GET", "HEAD", "POST", "PUT", "DELETE", "OPTIONS", "TRACE",
                                         "CONNECT", "PATCH", "head", "BREW"));

class EverySpelling : public HiddenRequest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(HiddenRequest, EverySpelling,
                         testing::Values("\tchunked", "\r\n chunked", " chunked;x", " gzip, chunked",
                                         " chunked, gzip"));

// TCP_NODELAY of each open connection of this process whose own port is that one.
std::vector<int> NoDelayOfConnections(std::uint16_t port) {
    std::vector<int> found;
    for (int fd = 0; fd < 1024; ++fd) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (local_port(fd) == port && getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0) {
            int on = 0;
            socklen_t on_size = sizeof on;
            getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, &on_size);
            found.push_back(on);
        }
    }
    return found;
}

}  // namespace

TEST_P(EveryMethod, ServesNoRequestHiddenInABody) {
    const std::string length = std::to_string(std::string(kHidden).size());

    EXPECT_EQ(ServedBehind(std::string(GetParam()) + " /a HTTP/1.1\r\nHost: x\r\nContent-Length: " + length +
                           "\r\n\r\n" + kHidden),
              0);
}

TEST_P(EveryMethod, ServesNoRequestHiddenInAChunk) {
    char size[8];
    std::snprintf(size, sizeof size, "%zx", std::string(kHidden).size());

    EXPECT_EQ(ServedBehind(std::string(GetParam()) +
                           " /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n" + size + "\r\n" +
                           kHidden + "\r\n0\r\n\r\n"),
              0);
}

TEST_P(EverySpelling, ServesNoRequestHiddenInWhatMayBeChunks) {
    EXPECT_EQ(ServedBehind("PUT /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding:" + std::string(GetParam()) +
                           "\r\n\r\n" + kHidden),
              0);
}

TEST_P(EverySpelling, ServesNoRequestBehindWhatMayBeChunks) {
    EXPECT_EQ(ServedBehind("PUT /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding:" + std::string(GetParam()) +
                           "\r\n\r\n0\r\n\r\n" + kHidden),
              0);
}

TEST_F(HiddenRequest, IsServedWhenItIsNotHidden) {
    EXPECT_EQ(ServedBehind("GET /a HTTP/1.1\r\nHost: x\r\n\r\n" + std::string(kHidden)), 1);
}

TEST_F(EventServerFixture, AnswersPipelinedRequestsInTheirOrder) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send(
            "GET /activity?channel=order&fromId=0 HTTP/1.1\r\nHost: x\r\n\r\n"
            "HEAD /nothing HTTP/1.1\r\nHost: x\r\n\r\n"
            "GET ?x HTTP/1.1\r\nHost: x\r\n\r\n"
            "POST /nothing HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");
        EXPECT_EQ(client.pending(), "");

        m_server.connect().exchange(
            "POST /publish?channel=order HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
            "Content-Length: 2\r\n\r\n{}");

        EXPECT_EQ(StatusOf(client.receive()), "HTTP/1.1 200 OK");
        // The answer to HEAD has a length and no body, and so what follows stands right behind its headers.
        const std::string rest = client.pending();
        const std::size_t second = rest.find("HTTP/1.1 404 Not Found");
        const std::size_t third = rest.find("HTTP/1.1 400 Bad Request");
        const std::size_t fourth = rest.rfind("HTTP/1.1 404 Not Found");
        EXPECT_EQ(second, 0U) << rest;
        EXPECT_LT(second, third);
        EXPECT_LT(third, fourth);
        EXPECT_NE(fourth, std::string::npos);
    });
}

TEST_F(PublishedEtag, IsRefusedWithALineEndInIt) {
    Serve([this] {
        for (const char* etag : {"a\rX: b", "a\r X: b", "a\r\r\n X: b"}) {
            EXPECT_EQ(StatusOf(m_server.connect().exchange(Publication(etag))), kBadRequest) << etag;
        }
    });
}

TEST_F(PublishedEtag, IsOneLineWhenItCameInTwo) {
    Serve([this] {
        RawHttpClient subscriber = m_server.connect();
        subscriber.send("GET /activity?channel=a HTTP/1.1\r\nHost: x\r\n\r\n");
        subscriber.pending();

        m_server.connect().exchange(Publication("a\r\n X: b"));

        const std::string answer = subscriber.receive();
        EXPECT_EQ(CountOf(answer, "\r\nEtag: a X: b\r\n"), 1) << answer;
    });
}

// A long answer goes out in several pieces. The last one would wait for the client's acknowledgement of those
// before it, which a client keeps back for 40 ms.
TEST_F(EventServerFixture, HoldsNoPieceOfAnAnswerBack) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");
        client.receive();

        EXPECT_EQ(NoDelayOfConnections(static_cast<std::uint16_t>(m_server.boundPort())),
                  std::vector<int>{1});
    });
}
