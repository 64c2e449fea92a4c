// SPDX-License-Identifier: MIT

#include "abort_loads.h"

#include <iterator>
#include <random>
#include <string>

#include "ApiClients.h"

namespace {

constexpr const char* kAborted = "aborted";
constexpr const char* kBeside = "beside aborting clients";
constexpr int kAnswersUnread = 20;

enum class Leaving { kClose, kReset, kEndSending };

std::string request(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: localhost\r\nAccept: application/json\r\n\r\n";
}

class AbortingClients : public Load {
  public:
    explicit AbortingClients(const Soak& soak)
        : m_soak(soak),
          m_beside(soak.unit, soak.tally, kBeside, WebClient::Connection::kOnePerRequest,
                   WebClient::Cookie::kSentBack) {}
    void step() override {
        constexpr void (AbortingClients::*kKinds[])() = {
            &AbortingClients::inHeaders,      &AbortingClients::inBody,          &AbortingClients::inAnswer,
            &AbortingClients::beforeAnswer,   &AbortingClients::inPoll,          &AbortingClients::inMessage,
            &AbortingClients::withoutReading, &AbortingClients::withSubscription};
        for (const auto kind : kKinds) {
            (this->*kind)();
            m_soak.tally.countRequest(kAborted);
        }
        m_beside.expect(200, "GET", "/system/info");
    }

  private:
    void inHeaders() {
        HttpClient client = m_soak.unit.http();
        client.send("GET /system/info HTTP/1.1\r\nHost: loc");
        leave(client);
    }
    void inBody() {
        HttpClient client = m_soak.unit.http();
        client.send(
            "PUT /example/test/static/z HTTP/1.1\r\nHost: localhost\r\nAccept: application/json\r\n"
            "Content-Length: 1000\r\n\r\n{\"data\": ");
        leave(client);
    }
    // The answers are more than the socket takes: the daemon is in the middle of one.
    void inAnswer() {
        HttpClient client = m_soak.unit.http();
        std::string requests;
        for (int i = 0; i < kAnswersUnread; ++i) {
            requests += request("/system/user-events/log");
        }
        client.send(requests);
        static_cast<void>(client.receive());
        leave(client);
    }
    void beforeAnswer() {
        HttpClient client = m_soak.unit.http();
        client.send(request("/system/status"));
        leave(client);
    }
    void inPoll() {
        HttpClient client = m_soak.unit.http();
        client.send(request("/activity?channel=never"));
        m_beside.expect(200, "GET", "/system/info");  // by then it waits
        leave(client);
    }
    void inMessage() {
        RpcClient client = m_soak.unit.rpc();
        client.send(R"({"jsonrpc": "2.0", "method": "read", "par)");
    }
    void withoutReading() {
        RpcClient client = m_soak.unit.rpc();
        client.send(
            R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/system/user-events/log"}, "id": 1})");
    }
    void withSubscription() {
        ApiConnection connection(m_soak.unit, m_soak.tally, kAborted);
        connection.subscribe("/example/test", "ALL", "true");
    }
    // One that only ends its own side is closed by the daemon, at the latest when `client` goes.
    void leave(HttpClient& client) {
        constexpr Leaving kLeavings[] = {Leaving::kClose, Leaving::kReset, Leaving::kEndSending};
        switch (kLeavings[std::uniform_int_distribution<size_t>(0, std::size(kLeavings) - 1)(m_random)]) {
            case Leaving::kClose:
                client.close();
                break;
            case Leaving::kReset:
                client.reset();
                break;
            case Leaving::kEndSending:
                client.endSending();
                break;
        }
    }

    Soak m_soak;
    WebClient m_beside;
    std::mt19937 m_random{3};
};

}  // namespace

std::unique_ptr<Load> make_aborting_clients(const Soak& soak) {
    return std::make_unique<AbortingClients>(soak);
}
