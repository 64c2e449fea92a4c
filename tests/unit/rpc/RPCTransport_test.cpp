// SPDX-License-Identifier: MIT

#include "src/rpc/RPCTransport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "src/rpc/RPCServer.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RpcFakes.h"

using ::testing::ElementsAre;

namespace {

// A call whose response the test sees.
class AwaitedCall : public RPCCall {
  public:
    AwaitedCall(RPCTransport* transport, std::string& response, std::function<void()> action = {})
        : RPCCall(transport), m_response(response), m_action(std::move(action)) {}

    const char* methodName() const override { return "read"; }
    void handleResponse(cJSON* result, cJSON* error) override {
        RPCCall::handleResponse(result, error);
        m_response = print_compact(result) + "|" + print_compact(error) + (isPending() ? "|pending" : "");
        if (m_action) {
            m_action();
        }
    }

  private:
    std::string& m_response;
    std::function<void()> m_action;
};

class RPCTransportTest : public ::testing::Test {
  protected:
    void Receive(const std::string& text) { transport.dataReceived(parse(text).get()); }

    RPCServer server;
    RecordingTransport transport{&server};
    CapturedLog log;
    std::string response;
};

}  // namespace

TEST_F(RPCTransportTest, HasNoSessionAtFirst) {
    EXPECT_EQ(transport.getSessionId(), nullptr);
    EXPECT_EQ(transport.getSessionNumberId(), 0U);
}

TEST_F(RPCTransportTest, KeepsACopyOfTheSessionId) {
    std::string id = "first";
    transport.setSessionId("before");

    transport.setSessionId(id.c_str());
    id = "other";

    EXPECT_STREQ(transport.getSessionId(), "first");
}

TEST_F(RPCTransportTest, LosesItsSessionIdToNull) {
    transport.setSessionId("id");

    transport.setSessionId(nullptr);

    EXPECT_EQ(transport.getSessionId(), nullptr);
}

TEST_F(RPCTransportTest, RemembersTheNumbersOfTheSessionsBefore) {
    transport.setSessionNumberId(1);
    const bool had_none = transport.getFormerSessionNumberIds().empty();

    transport.setSessionNumberId(5);
    transport.setSessionNumberId(9);

    EXPECT_TRUE(had_none);
    EXPECT_THAT(transport.getFormerSessionNumberIds(), ElementsAre(1U, 5U));
    EXPECT_EQ(transport.getSessionNumberId(), 9U);
}

TEST_F(RPCTransportTest, HoldsAllItsSessionsUntilItEnds) {
    auto connection = std::make_unique<RecordingTransport>(&server);
    const auto first = std::make_shared<int>(1);
    connection->setSessionHold(first);
    connection->setSessionHold(std::make_shared<int>(2));
    const long holders_meanwhile = first.use_count();

    connection.reset();

    EXPECT_EQ(holders_meanwhile, 2);
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(RPCTransportTest, LogsWhatItsBaseSends) {
    RPCTransport base(&server);

    base.sendData("text");

    EXPECT_EQ(log.count("7 src/RPCServer: RPCTransport::sendData: text\n"), 1);
}

TEST_F(RPCTransportTest, IsLiveFromAddToRemove) {
    RecordingListener listener;
    server.registerTransportLisetner(&listener);
    const bool before = RPCTransport::isValid(&transport);

    RPCTransport::add(&transport);
    const bool between = RPCTransport::isValid(&transport) && !listener.live().empty();
    RPCTransport::remove(&transport);

    EXPECT_FALSE(before);
    EXPECT_TRUE(between);
    EXPECT_FALSE(RPCTransport::isValid(&transport));
    EXPECT_EQ(listener.removals(), 1);
}

TEST_F(RPCTransportTest, IsStillLiveWhenTheListenerHearsOfItsEnd) {
    bool was_live = false;
    RecordingListener listener;
    listener.onRemove = [&was_live](RPCTransport* gone) { was_live = RPCTransport::isValid(gone); };
    server.registerTransportLisetner(&listener);
    RPCTransport::add(&transport);

    RPCTransport::remove(&transport);

    EXPECT_TRUE(was_live);
}

TEST_F(RPCTransportTest, PassesARequestToTheServer) {
    Receive(R"({"jsonrpc": "2.0", "method": "none", "id": 5})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":5})"));
}

TEST_F(RPCTransportTest, PassesAResultWithoutIdToTheServer) {
    Receive(R"({"jsonrpc": "2.0", "result": 1})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})"));
}

TEST_F(RPCTransportTest, DropsARequestWhenThereIsNoServer) {
    RecordingTransport alone(nullptr);

    alone.dataReceived(parse(R"({"jsonrpc": "2.0", "method": "none", "id": 5})").get());

    EXPECT_EQ(log.count("5 src/RPCServer: No server - is this a notification received at the client?\n"), 1);
    EXPECT_TRUE(alone.texts().empty());
}

TEST_F(RPCTransportTest, GivesAResponseToTheCallOfItsId) {
    std::string other;
    transport.addCall(3, std::make_unique<AwaitedCall>(&transport, response));
    transport.addCall(4, std::make_unique<AwaitedCall>(&transport, other));

    Receive(R"({"jsonrpc": "2.0", "result": {"a": 1}, "id": 3})");

    EXPECT_EQ(response, R"({"a":1}|)");
    EXPECT_EQ(other, "");
}

TEST_F(RPCTransportTest, GivesAnErrorToTheCallOfItsId) {
    transport.addCall(3, std::make_unique<AwaitedCall>(&transport, response));

    Receive(R"({"jsonrpc": "2.0", "error": {"code": 404}, "id": 3})");

    EXPECT_EQ(response, R"(|{"code":404})");
}

TEST_F(RPCTransportTest, LogsTheItemsOfAResponse) {
    transport.addCall(3, std::make_unique<AwaitedCall>(&transport, response));

    Receive(R"({"jsonrpc": "2.0", "result": 12, "id": 3})");

    EXPECT_EQ(log.count("7 src/RPCServer: Result: 12\n"), 1);
    EXPECT_EQ(log.count("7 src/RPCServer: Error: (null)\n"), 1);
}

TEST_F(RPCTransportTest, GivesOnlyTheFirstResponseOfAnIdToItsCall) {
    transport.addCall(3, std::make_unique<AwaitedCall>(&transport, response));
    Receive(R"({"jsonrpc": "2.0", "result": 1, "id": 3})");

    Receive(R"({"jsonrpc": "2.0", "result": 2, "id": 3})");

    EXPECT_EQ(response, "1|");
}

TEST_F(RPCTransportTest, IgnoresAResponseThatNobodyAwaits) {
    Receive(R"({"jsonrpc": "2.0", "result": 1, "id": 3})");

    EXPECT_EQ(log.count("7 src/RPCServer: Got response with ID: 3\n"), 1);
    EXPECT_TRUE(transport.texts().empty());
}

TEST_F(RPCTransportTest, MayGoWhileACallTakesItsResponse) {
    auto gone = std::make_unique<RecordingTransport>(&server);
    gone->addCall(3, std::make_unique<AwaitedCall>(gone.get(), response, [&gone] { gone.reset(); }));

    gone->dataReceived(parse(R"({"jsonrpc": "2.0", "result": 1, "id": 3})").get());

    EXPECT_EQ(gone, nullptr);
    EXPECT_EQ(response, "1|");
}
