// SPDX-License-Identifier: MIT

#include <array>

#include "UnitFixture.h"

namespace {

class JsonRpcEnvelopes : public UnitFixture {
  protected:
    // The id of the answer to a read with this id (JSON text).
    std::string AnsweredId(const std::string& id) {
        RpcClient client = m_unit.rpc();
        client.send(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/example/test"}, "id": )" +
                    id + "}");
        const JsonPtr answer = client.receive();
        EXPECT_EQ(Number(answer, {"result", "code"}), 200.0);
        return Compact(Member(answer, {"id"}));
    }
    // The whole answer to a message that nobody sent before on its connection.
    std::string Answer(const std::string& message) {
        RpcClient client = m_unit.rpc();
        return Ask(client, message);
    }
};

constexpr const char* kParseError =
    R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})";

std::string not_found(const std::string& id) {
    return R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":)" + id + "}";
}

std::string invalid_request(const std::string& id) {
    return R"({"jsonrpc":"2.0","error":{"code":-32600,"message":"Invalid Request"},"id":)" + id + "}";
}

TEST_F(JsonRpcEnvelopes, ASuccessHasResultAndIdAndNothingElse) {
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/example/test"}, "id": 7})"),
              R"({"jsonrpc":"2.0","result":{"code":200,"data":{"a":null,"b":null,"c":null}},"id":7})");
}

TEST_F(JsonRpcEnvelopes, ASuccessWithoutABodyHasTheCodeAlone) {
    RpcClient client = m_unit.rpc();

    EXPECT_EQ(Call(client, "update", R"({"path": "/example/test", "data": {"a": "one"}})"),
              R"({"jsonrpc":"2.0","result":{"code":200},"id":1})");
}

TEST_F(JsonRpcEnvelopes, ACreatedSubscriptionIsAnsweredWithItsPathAndItself) {
    RpcClient client = m_unit.rpc();

    EXPECT_EQ(Call(client, "create", R"({"path": "/system/subscriptions/system/status"})"),
              R"({"jsonrpc":"2.0","result":{"code":201,"path":"/system/subscriptions/system/status",)"
              R"("data":{"api_path":"/system/status","recursive":false,"data_include":"ALL"}},"id":1})");
}

TEST_F(JsonRpcEnvelopes, ACreatedEntryIsAnsweredWithThePathOfTheRequest) {
    RpcClient client = m_unit.rpc();

    EXPECT_EQ(Call(client, "create", R"({"path": "/example/test/dynamic", "data": {"abc": "one"}})"),
              R"({"jsonrpc":"2.0","result":{"code":201,"path":"/example/test/dynamic"},"id":1})");
}

TEST_F(JsonRpcEnvelopes, AnUnknownPathIsAnErrorWithCodeAndMessageAndNothingElse) {
    RpcClient client = m_unit.rpc();

    const std::string expected = R"({"jsonrpc":"2.0","error":{"code":404,"message":"Not Found"},"id":1})";
    for (const char* path : {"/nowhere", "/system/nowhere", "/system", "", "system/info"}) {
        EXPECT_EQ(Call(client, "read", R"({"path": ")" + std::string(path) + R"("})"), expected) << path;
    }
}

TEST_F(JsonRpcEnvelopes, ARefusedMethodIsAnError405) {
    RpcClient client = m_unit.rpc();

    const std::string expected =
        R"({"jsonrpc":"2.0","error":{"code":405,"message":"Method Not Allowed"},"id":1})";
    EXPECT_EQ(Call(client, "update", R"({"path": "/system/info", "data": {}})"), expected);
    EXPECT_EQ(Call(client, "delete", R"({"path": "/system/status"})"), expected);
    EXPECT_EQ(Call(client, "create", R"({"path": "/example/test"})"), expected);
}

TEST_F(JsonRpcEnvelopes, ARefusedPayloadIsAnError400) {
    RpcClient client = m_unit.rpc();

    EXPECT_EQ(Call(client, "update", R"({"path": "/example/test", "data": {"c": "seven"}})"),
              R"({"jsonrpc":"2.0","error":{"code":400,"message":"Bad Request"},"id":1})");
}

TEST_F(JsonRpcEnvelopes, ACallWithoutATextAsPathIsAnInvalidRequest) {
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "params": {}, "id": 3})"), invalid_request("3"));
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": 5}, "id": 3})"),
              invalid_request("3"));
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "params": {"Path": "/system/info"}, "id": 3})"),
              invalid_request("3"));
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "params": ["/system/info"], "id": 3})"),
              invalid_request("3"));
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "read", "id": 3})"), invalid_request("3"));
}

TEST_F(JsonRpcEnvelopes, AMessageWithoutAMethodIsMalformed) {
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "params": {"path": "/system/info"}, "id": 3})"), kParseError);
    EXPECT_EQ(Answer("{}"), kParseError);
}

TEST_F(JsonRpcEnvelopes, AMethodThatIsNoTextIsMalformed) {
    for (const char* method : {"7", "null", "true", R"(["read"])", R"({"read": 1})"}) {
        EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": )" + std::string(method) + R"(, "id": 3})"),
                  kParseError)
            << method;
    }
}

TEST_F(JsonRpcEnvelopes, AnIdWithoutJsonrpcIsMalformed) {
    EXPECT_EQ(Answer(R"({"method": "read", "params": {"path": "/system/info"}, "id": 1})"), kParseError);
}

TEST_F(JsonRpcEnvelopes, TheValueOfJsonrpcIsNotLookedAt) {
    EXPECT_EQ(Answer(R"({"jsonrpc": null, "method": "read", "params": {"path": "/example/test"}, "id": 1})"),
              R"({"jsonrpc":"2.0","result":{"code":200,"data":{"a":null,"b":null,"c":null}},"id":1})");
}

TEST_F(JsonRpcEnvelopes, AnUnknownMethodIsAnsweredWithTheIdOfTheRequest) {
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "none", "params": {"path": "/system/info"}, "id": 9})"),
              not_found("9"));
}

TEST_F(JsonRpcEnvelopes, AnUnknownMethodIsAnsweredWithIdZeroWhenThereIsNone) {
    EXPECT_EQ(Answer(R"({"jsonrpc": "2.0", "method": "none"})"), not_found("0"));
    EXPECT_EQ(Answer(R"({"method": "none"})"), not_found("0"));
}

TEST_F(JsonRpcEnvelopes, AWholeNumberIsTheIdOfTheAnswer) {
    EXPECT_EQ(AnsweredId("7"), "7");
    EXPECT_EQ(AnsweredId("0"), "0");
    EXPECT_EQ(AnsweredId("-5"), "-5");
}

TEST_F(JsonRpcEnvelopes, TheFractionOfAnIdIsCutOff) {
    EXPECT_EQ(AnsweredId("2.9"), "2");
    EXPECT_EQ(AnsweredId("-2.9"), "-2");
}

TEST_F(JsonRpcEnvelopes, AnIdOutOfRangeBecomesTheNearestInteger) {
    EXPECT_EQ(AnsweredId("1e300"), "2147483647");
    EXPECT_EQ(AnsweredId("2147483648"), "2147483647");
    EXPECT_EQ(AnsweredId("-99999999999"), "-2147483648");
}

TEST_F(JsonRpcEnvelopes, AnIdThatIsNoNumberBecomesZero) {
    for (const char* id : {R"("7")", R"("seven")", "null", "true", "false", "[7]", R"({"id": 7})"}) {
        EXPECT_EQ(AnsweredId(id), "0") << id;
    }
}

TEST_F(JsonRpcEnvelopes, ACallWithoutAnIdRunsAndIsNotAnswered) {
    RpcClient client = m_unit.rpc();

    client.send(
        R"({"jsonrpc": "2.0", "method": "update", "params": {"path": "/example/test", "data": {"a": "one"}}})");

    const std::string updated = R"({"a":"one","b":null,"c":null})";
    EXPECT_EQ(GetOnce("/example/test", updated), updated);
    EXPECT_EQ(Call(client, "read", R"({"path": "/example/test"})"),
              R"({"jsonrpc":"2.0","result":{"code":200,"data":)" + updated + R"(},"id":1})");
}

TEST_F(JsonRpcEnvelopes, ACallWithoutAnIdMayLeaveOutJsonrpc) {
    m_unit.rpc().send(R"({"method": "update", "params": {"path": "/example/test", "data": {"a": "one"}}})");

    const std::string updated = R"({"a":"one","b":null,"c":null})";
    EXPECT_EQ(GetOnce("/example/test", updated), updated);
}

TEST_F(JsonRpcEnvelopes, ARefusedCallWithoutAnIdIsNotAnsweredEither) {
    RpcClient client = m_unit.rpc();
    client.send(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/nowhere"}})");
    AwaitTaken();
    client.send(R"({"jsonrpc": "2.0", "method": "read"})");
    AwaitTaken();

    EXPECT_EQ(Ask(client, R"({"jsonrpc": "2.0", "method": "none", "id": 4})"), not_found("4"));
}

TEST_F(JsonRpcEnvelopes, AResponseThatNobodyAwaitsIsPassedOver) {
    RpcClient client = m_unit.rpc();
    client.send(R"({"jsonrpc": "2.0", "result": {"code": 200}, "id": 1})");
    AwaitTaken();
    client.send(R"({"jsonrpc": "2.0", "error": {"code": 404}, "id": "text"})");
    AwaitTaken();

    EXPECT_EQ(Ask(client, R"({"jsonrpc": "2.0", "method": "none", "id": 4})"), not_found("4"));
}

TEST_F(JsonRpcEnvelopes, EachOfTheEightSpellingsIsAMethod) {
    RpcClient client = m_unit.rpc();
    const std::string params =
        R"({"path": "/example/subscriptions/example/test", "data": {"recursive": true}})";
    const std::string done = R"({"jsonrpc":"2.0","result":{"code":200},"id":1})";

    for (const auto& [create, read, update, remove] : {std::array{"create", "read", "update", "delete"},
                                                       std::array{"Create", "Read", "Update", "Delete"}}) {
        EXPECT_EQ(Number(client.call(create, params), {"result", "code"}), 201.0);
        EXPECT_EQ(Call(client, read, params),
                  R"({"jsonrpc":"2.0","result":{"code":200,"data":{"api_path":"/example/test",)"
                  R"("recursive":true,"data_include":"ALL"}},"id":1})");
        EXPECT_EQ(Call(client, update, params), done);
        EXPECT_EQ(Call(client, remove, params), done);
        EXPECT_EQ(Number(client.call(read, params), {"error", "code"}), 404.0);
    }
}

TEST_F(JsonRpcEnvelopes, NoOtherSpellingIsAMethod) {
    RpcClient client = m_unit.rpc();
    for (const char* method : {"CREATE", "READ", "UPDATE", "DELETE", "cREATE", "reaD", "uPdate", "DeletE",
                               "read ", " read", "rea", "reads", "", "GET", "get", "post"}) {
        EXPECT_EQ(Call(client, method, R"({"path": "/system/info"})"), not_found("1")) << method;
    }
}

}  // namespace
