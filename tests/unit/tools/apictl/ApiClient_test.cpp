// SPDX-License-Identifier: MIT

#include "tools/apictl/ApiClient.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "FakeApi.h"
#include "tools/common/json_text.h"

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::StartsWith;
using Outcome = ApiClient::Outcome;

// The client in this thread, the daemon's end beside it: what the daemon says is in the socket before the client asks,
// unless a test needs it in turn.
class ApiClientTest : public testing::Test {
  protected:
    void Connect(std::chrono::milliseconds call_limit = ApiClient::kCallLimit) {
        m_client = std::make_unique<ApiClient>(
            m_interruption,
            [this](const cJSON& message) {
                m_notifications.push_back(json_printable(message, JsonLayout::kOneLine));
            },
            call_limit);
        ASSERT_EQ(m_client->connect(m_api.path()), Outcome::kOk);
        m_daemon = m_api.Accept();
        ASSERT_TRUE(m_daemon.Connected());
    }
    // Takes every place at the listener, so that the next one has to wait.
    void FillListener() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        m_api.path().copy(address.sun_path, sizeof address.sun_path - 1);
        do {
            m_waiting.emplace_back(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
        } while (connect(m_waiting.back().get(), reinterpret_cast<const sockaddr*>(&address),
                         sizeof address) == 0);
    }
    Outcome Read(const std::string& path) { return m_client->call({"read", path}, m_response); }
    [[nodiscard]] int Code() const { return m_response.code(); }

    FakeApi m_api;
    Interruption m_interruption;
    std::unique_ptr<ApiClient> m_client;
    ApiPeer m_daemon;
    ApiResponse m_response;
    std::vector<std::string> m_notifications;
    std::vector<UniqueFd> m_waiting;
};

constexpr const char* kFirst = R"({"jsonrpc": "2.0", "result": {"code": 200}, "id": 1})";
constexpr const char* kUpdated = R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/a"}})";

}  // namespace

TEST_F(ApiClientTest, SendsMethodPathAndDataInOneMessage) {
    Connect();
    m_daemon.Send(kFirst);
    const JsonPtr data(cJSON_Parse(R"({"a": 1})"));

    ASSERT_EQ(m_client->call({"update", "/system/x", data.get()}, m_response), Outcome::kOk);

    EXPECT_EQ(m_daemon.Receive(),
              R"({"jsonrpc":"2.0","method":"update","params":{"path":"/system/x","data":{"a":1}},"id":1})");
}

TEST_F(ApiClientTest, SendsNoDataWhenThereIsNone) {
    Connect();
    m_daemon.Send(kFirst);

    ASSERT_EQ(Read("/system/x"), Outcome::kOk);

    EXPECT_EQ(m_daemon.Receive(),
              R"({"jsonrpc":"2.0","method":"read","params":{"path":"/system/x"},"id":1})");
}

TEST_F(ApiClientTest, BracesInTextsLeaveTheFramingOfTheDaemonWhole) {
    Connect();
    m_daemon.Send(kFirst);
    const JsonPtr data(cJSON_Parse(R"({"a": "}}{"})"));

    ASSERT_EQ(m_client->call({"update", "/{", data.get()}, m_response), Outcome::kOk);

    EXPECT_THAT(m_daemon.Receive(), HasSubstr(R"("id":1)"));
}

TEST_F(ApiClientTest, NumbersItsCallsAndTakesTheAnswerOfEach) {
    Connect();
    m_daemon.Send(kFirst);
    ASSERT_EQ(Read("/a"), Outcome::kOk);
    m_daemon.Send(R"({"result": {"code": 204}, "id": 2})");

    ASSERT_EQ(Read("/b"), Outcome::kOk);

    EXPECT_EQ(Code(), 204);
}

TEST_F(ApiClientTest, PassesOverTheAnswerOfAnotherCall) {
    Connect();
    m_daemon.Send(std::string(R"({"result": {"code": 299}, "id": 7})") + kFirst);

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_EQ(Code(), 200);
}

TEST_F(ApiClientTest, TakesAnErrorWithoutIdAsItsAnswer) {
    Connect();
    m_daemon.Send(R"({"jsonrpc": "2.0", "error": {"code": -32700, "message": "Parse error"}, "id": null})");

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_EQ(m_response.errorText(), "-32700 Parse error");
}

TEST_F(ApiClientTest, PutsAnAnswerTogetherThatComesByteByByte) {
    Connect();
    std::jthread sender([this] {
        m_daemon.Receive();
        for (const char byte : m_daemon.Response(R"("result": {"code": 200, "data": "\"}{\\"})")) {
            m_daemon.Send({&byte, 1});
        }
    });

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_STREQ(cJSON_GetStringValue(m_response.data()), "\"}{\\");
}

TEST_F(ApiClientTest, AnAnswerOfManyMegabytesArrives) {
    Connect();
    const std::string text(4 << 20, 'x');
    std::jthread sender([&] { m_daemon.Serve(R"("result": {"code": 200, "data": ")" + text + "\"}"); });

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_EQ(cJSON_GetStringValue(m_response.data()), text);
}

TEST_F(ApiClientTest, ARequestThatTheSocketDoesNotTakeAtOnceArrives) {
    Connect();
    const JsonPtr data(cJSON_CreateString(std::string(1 << 19, 'x').c_str()));
    size_t received = 0;
    std::jthread receiver([&] { received = m_daemon.Serve(kOkBody).size(); });

    ASSERT_EQ(m_client->call({"update", "/a", data.get()}, m_response), Outcome::kOk);

    receiver.join();
    EXPECT_GT(received, size_t{1} << 19);
}

TEST_F(ApiClientTest, ANotificationBeforeTheAnswerIsHandledFirst) {
    Connect();
    m_daemon.Send(std::string(kUpdated) + kFirst);

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_EQ(Code(), 200);
    EXPECT_EQ(m_notifications, std::vector<std::string>{kUpdated});
}

TEST_F(ApiClientTest, ANotificationRightBehindTheAnswerIsNotLeftLying) {
    Connect();
    m_daemon.Send(std::string(kFirst) + kUpdated);

    ASSERT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_EQ(m_notifications, std::vector<std::string>{kUpdated});
}

TEST_F(ApiClientTest, ReceivesEveryNotificationOfOneRead) {
    Connect();
    m_daemon.Send(std::string(kUpdated) + "\n" + kUpdated + kUpdated);

    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kOk);

    EXPECT_EQ(m_notifications.size(), 3U);
}

TEST_F(ApiClientTest, ReceivesANotificationCutInTwo) {
    Connect();
    const std::string text = kUpdated;
    m_daemon.Send(text.substr(0, 20));
    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kOk);
    EXPECT_TRUE(m_notifications.empty());
    m_daemon.Send(text.substr(20));

    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kOk);

    EXPECT_EQ(m_notifications, std::vector<std::string>{kUpdated});
}

TEST_F(ApiClientTest, AMessageThatIsNeitherIsPassedOver) {
    Connect();
    m_daemon.Send(std::string(R"({"a": 1}{"method": 2})") + kFirst);

    EXPECT_EQ(Read("/a"), Outcome::kOk);

    EXPECT_TRUE(m_notifications.empty());
}

TEST_F(ApiClientTest, WithoutAHandlerNotificationsArePassedOver) {
    ApiClient client(m_interruption);
    ASSERT_EQ(client.connect(m_api.path()), Outcome::kOk);
    m_daemon = m_api.Accept();
    m_daemon.Send(std::string(kUpdated) + kFirst);

    EXPECT_EQ(client.call({"read", "/a"}, m_response), Outcome::kOk);
}

TEST_F(ApiClientTest, ReceivingEndsAtItsTimeLimit) {
    Connect();

    EXPECT_EQ(m_client->receive(Deadline::clock::now() + 1ms), Outcome::kTimeLimit);
}

TEST_F(ApiClientTest, ACallWithoutAnAnswerFailsAtItsLimit) {
    Connect(20ms);

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    EXPECT_EQ(m_client->problem(), "no answer within 1 s");
}

TEST_F(ApiClientTest, NotificationsDoNotProlongTheLimitOfACall) {
    Connect(100ms);
    std::jthread daemon([this] {
        while (m_daemon.Send(kUpdated)) {
            std::this_thread::sleep_for(1ms);  // a pace, not a synchronisation
        }
    });

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    m_client.reset();
}

TEST_F(ApiClientTest, TheEndOfTheConnectionFails) {
    Connect();
    m_daemon.Hang();

    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kFailed);

    EXPECT_EQ(m_client->problem(), "the connection has ended");
}

TEST_F(ApiClientTest, TheEndOfTheConnectionFailsACallToo) {
    Connect();
    m_daemon.Hang();

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    EXPECT_THAT(m_client->problem(), StartsWith("the connection has ended"));
}

TEST_F(ApiClientTest, WhatCameBeforeTheEndIsTaken) {
    Connect();
    m_daemon.Send(kUpdated);
    m_daemon.Hang();

    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kOk);
    EXPECT_EQ(m_client->receive(kNoDeadline), Outcome::kFailed);

    EXPECT_EQ(m_notifications.size(), 1U);
}

TEST_F(ApiClientTest, BytesThatAreNoObjectFail) {
    Connect();
    m_daemon.Send("HTTP/1.1 400 Bad Request\r\n");

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    EXPECT_EQ(m_client->problem(), "what came is no JSON");
}

TEST_F(ApiClientTest, AnObjectThatIsNoJsonFails) {
    Connect();
    m_daemon.Send("{no json}");

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    EXPECT_EQ(m_client->problem(), "what came is no JSON");
}

TEST_F(ApiClientTest, JsonThatIsNestedTooDeeplyFails) {
    Connect();
    std::string text;
    for (int i = 0; i < 5000; ++i) {
        text += R"({"a":)";
    }
    m_daemon.Send(text + "1" + std::string(5000, '}'));

    EXPECT_EQ(Read("/a"), Outcome::kFailed);
}

TEST_F(ApiClientTest, AMessageThatDoesNotEndFails) {
    Connect();
    std::jthread daemon([this] {
        m_daemon.Send(R"({"a": ")");
        const std::string piece(1 << 20, '{');
        while (m_daemon.Send(piece)) {
        }
    });

    EXPECT_EQ(Read("/a"), Outcome::kFailed);

    EXPECT_EQ(m_client->problem(), "a message does not end");
    m_client.reset();
}

TEST_F(ApiClientTest, AnInterruptionEndsACall) {
    Connect();
    ASSERT_TRUE(m_interruption.addSignals());
    raise(SIGINT);

    EXPECT_EQ(Read("/a"), Outcome::kInterrupted);
}

TEST_F(ApiClientTest, ASocketThatIsNotThereFailsWithItsPath) {
    ApiClient client(m_interruption);

    EXPECT_EQ(client.connect(m_api.directory().file("none")), Outcome::kFailed);

    EXPECT_EQ(client.problem(),
              "cannot reach '" + m_api.directory().file("none") + "': No such file or directory");
}

TEST_F(ApiClientTest, ASocketThatNobodyListensToFails) {
    ApiClient client(m_interruption);
    const std::string stale = m_api.directory().file("stale");
    {
        const UniqueFd socket_file(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        stale.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(bind(socket_file.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }

    EXPECT_EQ(client.connect(stale), Outcome::kFailed);

    EXPECT_THAT(client.problem(), HasSubstr("Connection refused"));
}

TEST_F(ApiClientTest, APathThatNoSocketCanHaveFails) {
    for (const std::string& path : {std::string(), std::string(108, 'x')}) {
        ApiClient client(m_interruption);

        EXPECT_EQ(client.connect(path), Outcome::kFailed);

        EXPECT_EQ(client.problem(), "'" + path + "' cannot be the path of a socket");
    }
}

TEST_F(ApiClientTest, AListenerThatDoesNotAcceptFailsAtTheLimit) {
    FillListener();
    ApiClient client(m_interruption, nullptr, 30ms);

    EXPECT_EQ(client.connect(m_api.path()), Outcome::kFailed);

    EXPECT_THAT(client.problem(), StartsWith("cannot reach"));
}

TEST_F(ApiClientTest, AnInterruptionEndsTheWaitForAPlaceAtTheListener) {
    FillListener();
    ASSERT_TRUE(m_interruption.addSignals());
    raise(SIGTERM);
    ApiClient client(m_interruption);

    EXPECT_EQ(client.connect(m_api.path()), Outcome::kInterrupted);
}
