// SPDX-License-Identifier: MIT

// What clients may take of the server by themselves: answers that nobody reads, time, lines of the log.

#include <algorithm>
#include <chrono>
#include <list>

#include "EventServerFixture.h"
#include "src/http/HabEventServer.h"
#include "tests/support/FullDescriptorTable.h"

namespace {

constexpr std::size_t kMiB = std::size_t{1024} * 1024;

class LongAnswer : public HabHandler {
  public:
    explicit LongAnswer(std::size_t size) : m_text(size, 'x') {}
    int handleRequest(HabRequest* request) override {
        ++answers;
        request->replyAdd(m_text.data(), m_text.size());
        request->replyFinish();
        return 1;
    }

    int answers = 0;

  private:
    std::string m_text;
};

class ServerLimits : public EventServerFixture {
  protected:
    void TurnFor(std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        pump_until(m_server.getEventbase(), [end] { return std::chrono::steady_clock::now() >= end; });
    }
    void SendEach(std::initializer_list<const char*> requests) {
        Serve([this, requests] {
            for (const char* request : requests) {
                m_server.connect().exchange(request);
            }
        });
    }
};

constexpr const char* kGetLong = "GET /long HTTP/1.1\r\nHost: x\r\n\r\n";

}  // namespace

// Answers in memory.

TEST_F(ServerLimits, HoldNoMoreThan64MiBOfAnswers) {
    LongAnswer handler(16 * kMiB);
    HabDispatcher::registerUri("/long", 1, &handler);
    Serve([&] {
        std::list<RawHttpClient> clients;
        for (int i = 1; i <= 6; ++i) {
            clients.push_back(m_server.connect());
            clients.back().send(kGetLong);
            pump_until(m_server.getEventbase(), [&] { return handler.answers == i; });
        }
        const auto isWhole = [](RawHttpClient& client) { return client.receive().size() > 16 * kMiB; };

        EXPECT_TRUE(isWhole(clients.back()));
        clients.pop_back();
        EXPECT_EQ(std::ranges::count_if(clients, isWhole), 3);
    });
}

TEST_F(ServerLimits, LetALoneAnswerGoOutHoweverLongItIs) {
    LongAnswer handler(65 * kMiB);
    HabDispatcher::registerUri("/long", 1, &handler);

    EXPECT_GT(Exchange(kGetLong).size(), 65 * kMiB);
}

// Time.

TEST_F(ServerLimits, AreLookedAtByTheServerItself) {
    ScriptedServer server(0, HabEventServer::kMaxConnections, 100);
    server.script = [&server] {
        RawHttpClient client = server.connect();
        client.send("GET /a HTTP/1.1\r\nHost: x\r\n");

        EXPECT_TRUE(client.isClosedByServer());
    };

    server.run();
}

TEST_F(ServerLimits, GiveARequestAMinuteToBecomeComplete) {
    EXPECT_EQ(HabEventServer::kMaxIncompleteMs, 60000);
}

// The log.

TEST_F(ServerLimits, LogOnceThatThereIsNoDescriptorForAConnection) {
    const CapturedLog log;
    Serve([&] {
        RawHttpClient client = m_server.connect();
        {
            const FullDescriptorTable full;
            TurnFor(std::chrono::milliseconds(1200));  // two pauses
        }

        EXPECT_NE(client.exchange("GET /nothing HTTP/1.1\r\nHost: x\r\n\r\n"), "");
    });

    EXPECT_EQ(log.count("3 src/HabEventServer: Cannot accept a connection: Too many open files"), 1);
}

TEST_F(ServerLimits, LogRequestsThatAreBadOnceAMinute) {
    const CapturedLog log;
    SendEach({"PUT /a HTTP/1.1\r\nTransfer-Encoding: xchunked\r\n\r\n",
              "PUT /a HTTP/1.1\r\nTransfer-Encoding: xchunked\r\n\r\n", "GET ?channel=a HTTP/1.1\r\n\r\n",
              "GET ?channel=a HTTP/1.1\r\n\r\n", "GET /activity?x=1 HTTP/1.1\r\n\r\n",
              "GET /activity?x=1 HTTP/1.1\r\n\r\n"});

    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests whose end is in doubt, the last for /a"));
    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests without a path, the last for ?channel=a"));
    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests without a channel, the last for /activity?x=1"));
    EXPECT_EQ(log.countOf("3 "), 3);
}

TEST_F(ServerLimits, LogNoControlCharacterOfARequestThatIsServed) {
    LongAnswer handler(1);
    HabDispatcher::registerUri("/long", 15, &handler);
    const CapturedLog log;

    SendEach({"GET /long%0aforged HTTP/1.1\r\nCookie: DRHABSESSID=\x1b[2J\r\nAccept: \x1b[2J\r\n\r\n"});

    EXPECT_EQ(handler.answers, 1);
    for (const std::string& line : log.lines()) {
        EXPECT_EQ(line.find("\x1b"), std::string::npos) << line;
        EXPECT_EQ(line.find("\nforged"), std::string::npos) << line;
    }
}

TEST_F(ServerLimits, LogNoControlCharacterOfAClient) {
    const CapturedLog log;
    SendEach({"GET /a\x1b[2J HTTP/1.1\r\n\r\n", "PUT /a\x1b[2J HTTP/1.1\r\nTransfer-Encoding: x\r\n\r\n",
              "GET /activity?x=\x1b[2J HTTP/1.1\r\n\r\n",
              "PUT /publish?channel=\x1b HTTP/1.1\r\nContent-Type: \x1b[2J\r\nContent-Length: 0\r\n\r\n",
              "POST /%1b%0aforged HTTP/1.1\r\nContent-Length: 0\r\n\r\n",
              "PUT /publish?channel=%1b%0aforged&fromId=%1b%0aforged HTTP/1.1\r\n"
              "Content-Type: application/json\r\nContent-Length: 2\r\n\r\n{}"});

    EXPECT_TRUE(log.has("3 src/HabRequestEvent: Could not parse URL '/a?[2J'"));
    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests whose end is in doubt, the last for /a?[2J"));
    EXPECT_TRUE(log.has("3 src/HabEventServer: 1 requests without a channel, the last for /activity?x=?[2J"));
    EXPECT_TRUE(log.has("3 src/HabEventServer: Unsupported MIME type '?[2J'"));
    for (const std::string& line : log.lines()) {
        EXPECT_EQ(line.find_first_of("\x1b\r"), std::string::npos) << line;
        EXPECT_EQ(line.find("\nforged"), std::string::npos) << line;
    }
}
