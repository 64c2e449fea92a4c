// SPDX-License-Identifier: MIT

// What clients may take of the server by themselves: answers that nobody reads, time.

#include <algorithm>
#include <list>

#include "EventServerFixture.h"
#include "src/http/HabEventServer.h"

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

using ServerLimits = EventServerFixture;

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
