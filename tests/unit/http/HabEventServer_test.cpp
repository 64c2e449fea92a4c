// SPDX-License-Identifier: MIT

#include "src/http/HabEventServer.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <set>

#include "EventServerFixture.h"

namespace {

// A log that another process reads, for lines without arguments.
struct PipeLog {
    static inline int end = -1;
    static void write(int level, const char*, const char* text, ...) { dprintf(end, "%d %s\n", level, text); }
};

// Takes its body in pieces.
class StreamingHandler : public HabHandler {
  public:
    StreamingHandler() { m_streaming = true; }
    int handleChunk(HabRequest* request, void*) override {
        char piece[100];
        pieces.emplace_back(piece, request->getRequestContent(piece, sizeof(piece)));
        return takesPieces ? 1 : 0;
    }
    int handleRequest(HabRequest* request) override {
        request->replyPrintf("done");
        request->replyFinish();
        return 1;
    }

    bool takesPieces = true;
    std::vector<std::string> pieces;
};

using HabEventServerTest = EventServerFixture;

constexpr const char* kNotFound = "HTTP/1.1 404 Not Found";
constexpr const char* kBadRequest = "HTTP/1.1 400 Bad Request";

}  // namespace

// Start and end.

TEST_F(HabEventServerTest, RunsTheLoopWithoutHttpForANegativePort) {
    ScriptedServer server(-1);
    const CapturedLog log;

    EXPECT_EQ(server.run(), 0);

    EXPECT_EQ(server.dispatched, 1);
    EXPECT_EQ(server.boundPort(), -1);
    EXPECT_TRUE(log.has("6 src/HabEventServer: HTTP disabled"));
}

TEST_F(HabEventServerTest, FreesTheEventBaseWhenTheLoopEnds) {
    Serve([this] { EXPECT_NE(m_server.getEventbase(), nullptr); });

    EXPECT_EQ(m_server.getEventbase(), nullptr);
}

TEST_F(HabEventServerTest, RunsTheEventBaseUntilItIsStopped) {
    HabEventServer server(0);
    event_base_once(
        server.getEventbase(), -1, EV_TIMEOUT,
        [](evutil_socket_t, short, void* base) { event_base_loopbreak(static_cast<event_base*>(base)); },
        server.getEventbase(), nullptr);

    EXPECT_EQ(server.run(), 0);
}

TEST_F(HabEventServerTest, KeepsComplainingWhenThePortIsTaken) {
    const UniqueFd taken(HabEventServer::bindSocket(0));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const UniqueFd reader(ends[0]);
    PipeLog::end = ends[1];

    const pid_t child = fork();
    if (child == 0) {
        set_logger(PipeLog::write, nullptr);
        HabEventServer(local_port(taken.get())).run();
        _exit(0);
    }
    ::close(ends[1]);
    std::string lines;
    const std::string expected =
        "6 libevent - starting server\n"
        "3 libevent - could not create HTTP server!\n"
        "3 libevent - trying again in 5 secs\n";
    char byte = 0;
    while (lines.size() < expected.size() && read(reader.get(), &byte, 1) == 1) {
        lines += byte;
    }

    EXPECT_EQ(lines, expected);
    EXPECT_EQ(waitpid(child, nullptr, WNOHANG), 0) << "the process lives on";
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST(HabEventServerBind, AnswersMinusOneForAPortThatIsTaken) {
    const UniqueFd taken(HabEventServer::bindSocket(0));

    EXPECT_EQ(HabEventServer::bindSocket(local_port(taken.get())), -1);
}

TEST(HabEventServerBind, AnswersMinusOneForAPortThatDoesNotExist) {
    EXPECT_EQ(HabEventServer::bindSocket(65536 + 80), -1);
}

TEST(HabEventServerBind, GivesANonBlockingSocketOnAllAddresses) {
    const UniqueFd listener(HabEventServer::bindSocket(0));
    sockaddr_in address{};
    socklen_t size = sizeof(address);

    getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);

    EXPECT_EQ(address.sin_addr.s_addr, htonl(INADDR_ANY));
    EXPECT_NE(fcntl(listener.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(HabEventServerTest, OpensEveryDescriptorCloseOnExec) {
    const auto openInExec = [] {
        std::set<int> open;
        for (int fd = 3; fd < 256; ++fd) {
            const int flags = fcntl(fd, F_GETFD);
            if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
                open.insert(fd);
            }
        }
        return open;
    };
    const std::set<int> before = openInExec();
    ScriptedServer server(0);
    server.script = [&] {
        RawHttpClient client = server.connect();
        client.exchange("GET /a HTTP/1.1\r\nHost: x\r\n\r\n");

        EXPECT_EQ(openInExec(), before);
    };

    server.run();
}

// The instance id.

TEST_F(HabEventServerTest, AddsItsInstanceIdInLowerCaseHexadecimalToEveryReply) {
    m_server.setInstanceId(0x1a2b3c);

    const std::string answer = Exchange("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");

    EXPECT_NE(answer.find("\r\nX-Server-instance: 0x1a2b3c\r\n"), std::string::npos) << answer;
}

TEST_F(HabEventServerTest, KeepsNineCharactersOfTheInstanceId) {
    m_server.setInstanceId(0x10000001);

    const std::string answer = Exchange("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");

    EXPECT_NE(answer.find("\r\nX-Server-instance: 0x1000000\r\n"), std::string::npos) << answer;
}

// Requests.

TEST_F(HabEventServerTest, GivesARequestToItsHandler) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/up", 1, &handler);

    const std::string answer = Exchange("GET /up HTTP/1.1\r\nHost: x\r\n\r\n");

    EXPECT_EQ(StatusOf(answer), "HTTP/1.1 200 OK");
}

TEST_F(HabEventServerTest, KeepsTheObjectOfAPostUntilItsBodyIsThere) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\n");
        ASSERT_TRUE(Caches(1));

        client.exchange("x");

        EXPECT_EQ(m_server.cachedRequests(), 0U);
    });
}

TEST_F(HabEventServerTest, MakesNoObjectForOtherMethodsBeforeTheirBody) {
    const CapturedLog log;
    Serve([this] {
        RawHttpClient client = m_server.connect();

        client.exchange("PUT /a HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");
    });

    EXPECT_TRUE(log.has("7 src/HabEventServer: No HabRequest in cache - creating new"));
    EXPECT_FALSE(log.has("7 src/HabEventServer: Saving HabRequest in cache"));
}

TEST_F(HabEventServerTest, MakesNoObjectForAPostToPublish) {
    const CapturedLog log;
    Exchange("POST /publish?channel=a HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");

    EXPECT_TRUE(log.has("7 src/HabEventServer: pre_handler() URI is a /publish handler"));
    EXPECT_FALSE(log.has("7 src/HabEventServer: Saving HabRequest in cache"));
}

TEST_F(HabEventServerTest, MakesAnObjectForAPostToActivity) {
    const CapturedLog log;
    Exchange("POST /activity?channel=a HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");

    EXPECT_TRUE(log.has("7 src/HabEventServer: Saving HabRequest in cache"));
}

TEST_F(HabEventServerTest, DropsTheObjectOfAClientThatLeavesBeforeItsBody) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\n");
        ASSERT_TRUE(Caches(1));

        client.close();

        EXPECT_TRUE(Caches(0));
    });
}

TEST_F(HabEventServerTest, DropsTheObjectOfARequestThatTheLibraryRefuses) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("POST /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n");
        ASSERT_TRUE(Caches(1));

        client.send("no chunk size\r\n");

        EXPECT_TRUE(Caches(0));
    });
}

TEST_F(HabEventServerTest, RefusesAPostOnceWithOneSessionAndOneCookie) {
    const std::string answer =
        Exchange("POST /system/closed HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");

    EXPECT_EQ(StatusOf(answer), kNotFound);
    EXPECT_EQ(CountOf(answer, "Set-Cookie:"), 1);
}

TEST_F(HabEventServerTest, AnswersUnauthorizedOnlyWhenTheBodyHasBeenRead) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/system/#main_res", 15, &handler);
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("POST /system/closed HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\nx");
        ASSERT_TRUE(Caches(1));
        EXPECT_EQ(client.pending(), "");

        EXPECT_EQ(StatusOf(client.exchange("y")), "HTTP/1.1 401 Unauthorized");
    });
}

TEST_F(HabEventServerTest, GoesOnWithTheConnectionAfterARefusedPost) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.exchange("POST /nothing HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx");

        EXPECT_EQ(StatusOf(client.exchange("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n")), kNotFound);
    });
}

TEST_F(HabEventServerTest, AnswersARefusedRequestOnce) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.exchange("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n");

        EXPECT_EQ(client.pending(), "");
    });
}

// Bad input.

TEST_F(HabEventServerTest, AnswersBadRequestToAnEmptyPath) {
    const CapturedLog log;

    EXPECT_EQ(StatusOf(Exchange("GET ?channel=a HTTP/1.1\r\nHost: x\r\n\r\n")), kBadRequest);

    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests without a path, the last for ?channel=a"));
}

TEST_F(HabEventServerTest, AnswersBadRequestToAnEmptyPathOfAPost) {
    const CapturedLog log;

    EXPECT_EQ(StatusOf(Exchange("POST http://x HTTP/1.1\r\nHost: x\r\nContent-Length: 1\r\n\r\nx")),
              kBadRequest);

    EXPECT_FALSE(log.has("7 src/HabEventServer: Saving HabRequest in cache"));
}

TEST_F(HabEventServerTest, AnswersBadRequestToANulInThePath) {
    EXPECT_EQ(StatusOf(Exchange("GET /a%00b HTTP/1.1\r\nHost: x\r\n\r\n")), kBadRequest);
}

TEST_F(HabEventServerTest, EndsTheConnectionOfARequestWhoseEndIsInDoubt) {
    const CapturedLog log;
    for (const char* request : {"PUT /a HTTP/1.1\r\nTransfer-Encoding: xchunked\r\n\r\n",
                                "POST /a HTTP/1.1\r\nContent-Length: 0\r\nContent-Length: 9\r\n\r\n",
                                "DELETE /a HTTP/1.1\r\nContent-Length : 9\r\n\r\n",
                                "HEAD /a HTTP/1.1\r\nContent-Length: 9\r\n\r\n"}) {
        ScriptedServer server(0);
        server.script = [&server, request] {
            RawHttpClient client = server.connect();
            client.send(std::string(request) + "GET /smuggled HTTP/1.1\r\nHost: x\r\n\r\n");

            EXPECT_TRUE(client.isClosedByServer());
            const std::string answers = client.pending();
            EXPECT_EQ(StatusOf(answers), kBadRequest) << request;
            EXPECT_EQ(CountOf(answers, "HTTP/1.1"), 1) << request;
        };
        EXPECT_EQ(server.run(), 0);
    }

    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests whose end is in doubt, the last for /a"));
    EXPECT_FALSE(log.has("7 src/HabEventServer: Saving HabRequest in cache"));
}

TEST_F(HabEventServerTest, RefusesABodyAboveTheLimit) {
    const std::string answer = Exchange("POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 16777217\r\n\r\n");

    EXPECT_EQ(StatusOf(answer), "HTTP/1.1 413 Request Entity Too Large");
}

TEST_F(HabEventServerTest, RefusesAChunkedBodyAboveTheLimit) {
    const std::string first = "fffffe\r\n" + std::string().append(0xfffffe, 'x') + "\r\n";
    const std::string answer =
        Exchange("POST /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n" + first + "3\r\n");

    EXPECT_EQ(StatusOf(answer), "HTTP/1.1 413 Request Entity Too Large");
}

TEST_F(HabEventServerTest, TakesAChunkedBodyOfTheLimit) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/up", 2, &handler);
    const std::string chunk = "1000000\r\n" + std::string().append(0x1000000, 'x') + "\r\n0\r\n\r\n";

    const std::string answer =
        Exchange("PUT /up HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk);

    EXPECT_EQ(StatusOf(answer), "HTTP/1.1 200 OK");
}

TEST_F(HabEventServerTest, HoldsNoMoreThan64MiBOfBodies) {
    Serve([this] {
        const auto upload = [this](std::size_t size) {
            auto client = std::make_unique<RawHttpClient>(m_server.connect());
            client->send("PUT /a HTTP/1.1\r\nHost: x\r\nContent-Length: 16777216\r\n\r\n");
            client->send(std::string(size, 'x'));
            client->pending();
            return client;
        };
        const auto largest = upload(0xff0000);
        const auto second = upload(0xf00000);
        const auto third = upload(0xf00000);
        const auto fourth = upload(0xf00000);

        const auto fifth = upload(0x400000);

        EXPECT_TRUE(largest->isClosedByServer());
        EXPECT_EQ(StatusOf(second->exchange(std::string(0x100000, 'x'))), "HTTP/1.1 404 Not Found");
    });
}

TEST_F(HabEventServerTest, RefusesHeadersAboveTheLimit) {
    const std::string answer =
        Exchange("GET /a HTTP/1.1\r\nHost: x\r\nX-Long: " + std::string(65536, 'x') + "\r\n\r\n");

    EXPECT_EQ(StatusOf(answer), kBadRequest);
}

TEST_F(HabEventServerTest, ClosesAConnectionThatSendsNoCompleteRequest) {
    Serve([this] {
        RawHttpClient client = m_server.connect();
        client.send("GET /a HTTP/1.1\r\nHost: x\r\n");
        client.pending();

        m_server.sweep_idle(0);

        EXPECT_TRUE(client.isClosedByServer());
    });
}

TEST_F(HabEventServerTest, LogsOnceWhoHoldsTheConnectionsOfAFullServer) {
    const CapturedLog log;
    ScriptedServer server(0, 2);
    server.script = [&server] {
        const RawHttpClient first = server.connect();
        const RawHttpClient second = server.connect();
        EXPECT_TRUE(server.connect().isClosedByServer());
        EXPECT_TRUE(server.connect().isClosedByServer());
    };

    server.run();

    EXPECT_EQ(log.countOf("4 src/HabEventServer: 1 connections refused, as 2 may be open."), 1);
    EXPECT_EQ(log.countOf("4 src/HabEventServer: "), 1);
    EXPECT_TRUE(
        log.has("4 src/HabEventServer: 1 connections refused, as 2 may be open. "
                "Most of them: 127.0.0.1 (2)\n"));
}

// Streamed uploads.

TEST_F(HabEventServerTest, GivesAStreamingHandlerItsBodyInPieces) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/up", 4, &handler);
    Serve([&] {
        RawHttpClient client = m_server.connect();
        client.send("POST /up HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\n");
        Caches(1);
        client.send("ab");
        pump_until(m_server.getEventbase(), [&] { return handler.pieces.size() == 2; });

        EXPECT_EQ(StatusOf(client.exchange("cd")), "HTTP/1.1 200 OK");
    });

    EXPECT_EQ(handler.pieces, (std::vector<std::string>{"", "ab", "cd"}));
}

TEST_F(HabEventServerTest, LeavesTheBodyWholeWhenTheHandlerWantsNoPieces) {
    StreamingHandler handler;
    handler.takesPieces = false;
    HabDispatcher::registerUri("/up", 4, &handler);

    Exchange("POST /up HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nabcd");

    EXPECT_EQ(handler.pieces, std::vector<std::string>{""});
}

TEST_F(HabEventServerTest, StreamsNothingToASessionWithoutTheLevel) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/system/#main_res", 4, &handler);

    Exchange("POST /system/closed HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nabcd");

    EXPECT_TRUE(handler.pieces.empty());
}

TEST_F(HabEventServerTest, SurvivesAClientThatLeavesAmidAStream) {
    StreamingHandler handler;
    HabDispatcher::registerUri("/up", 4, &handler);
    Serve([&] {
        RawHttpClient client = m_server.connect();
        client.send("POST /up HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nab");
        pump_until(m_server.getEventbase(), [&] { return handler.pieces.size() == 2; });

        client.close();

        EXPECT_TRUE(Caches(0));
    });
}

// Entry points and misuse.

TEST_F(HabEventServerTest, LogsAPreHandlerCallWithoutARequest) {
    const CapturedLog log;

    m_server.pre_handler(nullptr);

    EXPECT_TRUE(log.has("3 src/HabEventServer: pre_handler() Request is null!"));
}

TEST(HabEventServerEntryPoints, StopTheProcessWithoutTheirServer) {
    EXPECT_DEATH(generic_handlerCb(nullptr, nullptr), "arg != __null");
    EXPECT_DEATH(prehandlecb(nullptr, nullptr), "arg != __null");
}

TEST(HabEventServerEntryPoints, LogTheCompletionOfAnAnswer) {
    const CapturedLog log;

    completeCb(nullptr, nullptr);

    EXPECT_TRUE(log.has("7 src/HabEventServer: completeCb()"));
}
