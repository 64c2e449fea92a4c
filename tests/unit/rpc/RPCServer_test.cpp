// SPDX-License-Identifier: MIT

#include "src/rpc/RPCServer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/RpcFakes.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

JsonPtr no_item() {
    return nullptr;
}

class RPCServerTest : public ::testing::Test {
  protected:
    RPCServerTest() {
        server.registerMethod("echo", &echo);
        server.registerMethod("nothing", &nothing);
        server.registerMethod("refuse", &refuse);
        server.registerMethod("fail", &fail);
    }

    void Handle(const std::string& text) { server.handleMessage(parse(text).get(), &transport); }

    // Registers "act", which runs `action` with the transport of its call and gives the result 1.
    void OnAct(const std::function<void(RPCTransport*)>& action) {
        act = std::make_unique<ScriptedMethod>([action](cJSON*, bool& isResult, RPCTransport* caller) {
            action(caller);
            isResult = true;
            return JsonPtr(cJSON_CreateNumber(1));
        });
        server.registerMethod("act", act.get());
    }

    RPCServer server;
    RecordingTransport transport{&server};
    RecordingTransport other{&server};
    int calls = 0;

    ScriptedMethod echo{[this](cJSON* params, bool& isResult, RPCTransport*) {
        ++calls;
        isResult = true;
        return JsonPtr(cJSON_Duplicate(params, true));
    }};
    ScriptedMethod nothing{[](cJSON*, bool& isResult, RPCTransport*) {
        isResult = true;
        return no_item();
    }};
    ScriptedMethod refuse{[](cJSON*, bool&, RPCTransport*) { return no_item(); }};
    ScriptedMethod fail{[](cJSON*, bool&, RPCTransport*) { return parse(R"({"code":404})"); }};
    std::unique_ptr<ScriptedMethod> act;
};

using RPCServerDeathTest = RPCServerTest;

}  // namespace

TEST_F(RPCServerTest, AnswersARequestWithItsResultAndId) {
    Handle(R"({"jsonrpc": "2.0", "method": "echo", "params": {"path": "/a"}, "id": 7})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":{"path":"/a"},"id":7})"));
}

TEST_F(RPCServerTest, PrintsResponsesFormatted) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": 7})");

    EXPECT_THAT(transport.texts(),
                ElementsAre("{\n\t\"jsonrpc\":\t\"2.0\",\n\t\"result\":\tnull,\n\t\"id\":\t7\n}"));
}

TEST_F(RPCServerTest, AnswersAResultOfNothingWithNull) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": 1})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":1})"));
}

TEST_F(RPCServerTest, CallsAMethodWithoutParams) {
    Handle(R"({"jsonrpc": "2.0", "method": "echo", "id": 1})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":1})"));
}

TEST_F(RPCServerTest, AnswersTheErrorObjectOfAMethod) {
    Handle(R"({"jsonrpc": "2.0", "method": "fail", "id": 2})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","error":{"code":404},"id":2})"));
}

TEST_F(RPCServerTest, AnswersInvalidRequestWhenAMethodGivesNothing) {
    Handle(R"({"jsonrpc": "2.0", "method": "refuse", "id": 3})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32600,"message":"Invalid Request"},"id":3})"));
}

TEST_F(RPCServerTest, AnswersAnUnknownMethod) {
    Handle(R"({"jsonrpc": "2.0", "method": "echoes", "id": 4})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":4})"));
}

TEST_F(RPCServerTest, AnswersAnUnknownMethodOfANotificationWithIdZero) {
    Handle(R"({"jsonrpc": "2.0", "method": "echoes"})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":0})"));
}

TEST_F(RPCServerTest, TellsMethodNamesOfDifferentCaseApart) {
    Handle(R"({"jsonrpc": "2.0", "method": "ECHO", "id": 4})");

    EXPECT_EQ(calls, 0);
    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":4})"));
}

TEST_F(RPCServerTest, AnswersARequestWithoutJsonrpcAsMalformedWithANullId) {
    Handle(R"({"method": "echo", "id": 1})");

    EXPECT_EQ(calls, 0);
    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})"));
}

TEST_F(RPCServerTest, AnswersAMessageWithoutMethodAsMalformed) {
    Handle(R"({"jsonrpc": "2.0", "id": 1})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})"));
}

TEST_F(RPCServerTest, AnswersAMethodThatIsNoTextAsMalformed) {
    Handle(R"({"jsonrpc": "2.0", "method": 5, "id": 1})");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})"));
}

TEST_F(RPCServerTest, AnswersAMessageThatIsNoObjectAsMalformed) {
    Handle(R"(["method", "echo"])");

    EXPECT_THAT(
        transport.messages(),
        ElementsAre(R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})"));
}

TEST_F(RPCServerTest, TakesMemberNamesInTheirExactCaseOnly) {
    Handle(R"({"jsonrpc": "2.0", "Method": "echo", "id": 1})");

    EXPECT_EQ(calls, 0);
}

TEST_F(RPCServerTest, TakesANotificationWithoutJsonrpcAndAnswersNothing) {
    Handle(R"({"method": "echo", "params": 1})");

    EXPECT_EQ(calls, 1);
    EXPECT_THAT(transport.messages(), IsEmpty());
}

TEST_F(RPCServerTest, DoesNotLookAtTheValueOfJsonrpc) {
    Handle(R"({"jsonrpc": false, "method": "nothing", "id": 1})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":1})"));
}

TEST_F(RPCServerTest, AnswersATextIdWithZero) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": "7"})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":0})"));
}

TEST_F(RPCServerTest, AnswersATrueIdWithZero) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": true})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":0})"));
}

TEST_F(RPCServerTest, AnswersANullIdWithZero) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": null})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":0})"));
}

TEST_F(RPCServerTest, AnswersAnIdBeyondIntegersWithTheLargest) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "id": 1e300})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":2147483647})"));
}

TEST_F(RPCServerTest, TakesTheFirstOfTwoMembersWithOneName) {
    Handle(R"({"jsonrpc": "2.0", "method": "nothing", "method": "fail", "id": 1, "id": 2})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":null,"id":1})"));
}

TEST_F(RPCServerTest, KeepsTheFirstMethodRegisteredUnderAName) {
    server.registerMethod("fail", &nothing);

    Handle(R"({"jsonrpc": "2.0", "method": "fail", "id": 1})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","error":{"code":404},"id":1})"));
}

TEST_F(RPCServerTest, SendsANotificationAtOnceOutsideOfRequests) {
    server.sendNotification("Updated", parse(R"({"path": "/a"})").get(), &transport);

    EXPECT_THAT(transport.messages(),
                ElementsAre(R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/a"}})"));
}

TEST_F(RPCServerTest, SendsANotificationWithoutParams) {
    server.sendNotification("Updated", nullptr, &transport);

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","method":"Updated"})"));
}

TEST_F(RPCServerTest, LeavesTheParamsOfANotificationWithTheCaller) {
    const JsonPtr tree = parse(R"({"before": 1, "kept": {"path": "/a"}, "after": 2})");

    server.sendNotification("Updated", cJSON_GetObjectItem(tree.get(), "kept"), &transport);

    EXPECT_EQ(print_compact(tree.get()), R"({"before":1,"kept":{"path":"/a"},"after":2})");
}

TEST_F(RPCServerTest, SendsNoNotificationWithoutTransport) {
    server.sendNotification("Updated", nullptr, nullptr);

    EXPECT_THAT(transport.messages(), IsEmpty());
}

TEST_F(RPCServerTest, SendsNotificationsOfARequestAfterItsResponseInTheirOrder) {
    OnAct([this](RPCTransport* caller) {
        server.sendNotification("Created", nullptr, caller);
        server.sendNotification("Updated", nullptr, caller);
    });

    Handle(R"({"jsonrpc": "2.0", "method": "act", "id": 1})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","result":1,"id":1})",
                                                  R"({"jsonrpc":"2.0","method":"Created"})",
                                                  R"({"jsonrpc":"2.0","method":"Updated"})"));
}

TEST_F(RPCServerTest, HoldsNotificationsForAnotherConnectionUntilTheRequestIsAnswered) {
    size_t sent_meanwhile = 0;
    OnAct([this, &sent_meanwhile](RPCTransport*) {
        server.sendNotification("Updated", nullptr, &other);
        sent_meanwhile = other.texts().size();
    });

    Handle(R"({"jsonrpc": "2.0", "method": "act", "id": 1})");

    EXPECT_EQ(sent_meanwhile, 0U);
    EXPECT_THAT(other.messages(), ElementsAre(R"({"jsonrpc":"2.0","method":"Updated"})"));
}

TEST_F(RPCServerTest, KeepsTheQueueWhileARequestIsBeingHandled) {
    OnAct([this](RPCTransport* caller) {
        server.sendNotification("Updated", nullptr, caller);
        server.sendQueuedNotification();
    });

    Handle(R"({"jsonrpc": "2.0", "method": "act", "id": 1})");

    EXPECT_EQ(transport.messages().front(), R"({"jsonrpc":"2.0","result":1,"id":1})");
}

TEST_F(RPCServerTest, SendsQueuedNotificationsWhenTheRequestWasANotificationItself) {
    OnAct([this](RPCTransport* caller) { server.sendNotification("Updated", nullptr, caller); });

    Handle(R"({"jsonrpc": "2.0", "method": "act"})");

    EXPECT_THAT(transport.messages(), ElementsAre(R"({"jsonrpc":"2.0","method":"Updated"})"));
}

TEST_F(RPCServerTest, DoesNotTouchATransportThatGoesWhileItsMessageIsHandled) {
    auto gone = std::make_unique<RecordingTransport>(&server);
    RPCTransport::add(gone.get());
    OnAct([this, &gone](RPCTransport* caller) {
        server.sendNotification("Updated", nullptr, caller);
        RPCTransport::remove(caller);
        gone.reset();
    });

    server.handleMessage(parse(R"({"jsonrpc": "2.0", "method": "act", "id": 1})").get(), gone.get());

    EXPECT_EQ(gone, nullptr);
}

TEST_F(RPCServerTest, DropsQueuedNotificationsForATransportThatGoes) {
    OnAct([this](RPCTransport* caller) {
        server.sendNotification("Updated", nullptr, &other);
        server.sendNotification("Updated", nullptr, caller);
        server.handleRemoveTransport(&other);
    });

    Handle(R"({"jsonrpc": "2.0", "method": "act", "id": 1})");

    EXPECT_THAT(other.messages(), IsEmpty());
    EXPECT_EQ(transport.messages().size(), 2U);
}

TEST_F(RPCServerTest, DropsWhatTheListenerNotifiesATransportThatGoes) {
    RecordingListener listener;
    listener.onRemove = [this](RPCTransport* gone) { server.sendNotification("Deleted", nullptr, gone); };
    server.registerTransportLisetner(&listener);
    OnAct([this](RPCTransport*) { server.handleRemoveTransport(&other); });

    Handle(R"({"jsonrpc": "2.0", "method": "act", "id": 1})");

    EXPECT_EQ(listener.removals(), 1);
    EXPECT_THAT(other.messages(), IsEmpty());
}

TEST_F(RPCServerTest, TellsTheListenerOfTransports) {
    RecordingListener listener;
    server.registerTransportLisetner(&listener);

    server.handleAddTransport(&transport);
    server.handleAddTransport(&other);
    server.handleRemoveTransport(&transport);

    EXPECT_THAT(listener.live(), ElementsAre(&other));
}

TEST_F(RPCServerDeathTest, RefusesASecondListener) {
    RecordingListener listener;
    server.registerTransportLisetner(&listener);

    EXPECT_DEATH(server.registerTransportLisetner(&listener), "m_transportListener == __null");
}

TEST_F(RPCServerDeathTest, RefusesANullMessage) {
    EXPECT_DEATH(server.handleMessage(nullptr, &transport), "message != __null");
}

TEST_F(RPCServerDeathTest, RefusesANotificationWithoutMethodName) {
    EXPECT_DEATH(server.sendNotification(nullptr, nullptr, &transport), "methodName");
}
