// SPDX-License-Identifier: MIT

#include <optional>
#include <string_view>

#include "UnitFixture.h"

namespace {

class JsonRpcFraming : public UnitFixture {
  protected:
    void SetUp() override {
        UnitFixture::SetUp();
        m_client.emplace(m_unit.rpc());
    }

    // Sends a piece that the daemon reads by itself.
    void SendAlone(const std::string& piece) {
        m_client->send(piece);
        AwaitTaken();
    }
    std::string Receive() { return Compact(m_client->receive().get()); }

    std::optional<RpcClient> m_client;
};

// A message that is answered by its id alone.
std::string message(const std::string& id) {
    return R"({"jsonrpc": "2.0", "method": "none", "id": )" + id + "}";
}

std::string answer(const std::string& id) {
    return R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":)" + id + "}";
}

TEST_F(JsonRpcFraming, AMessageThatComesByteByByteIsAnsweredOnce) {
    const std::string request =
        R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/example/test"}, "id": 5})";

    for (const char byte : request) {
        m_client->send(std::string(1, byte));
    }

    EXPECT_EQ(Receive(),
              R"({"jsonrpc":"2.0","result":{"code":200,"data":{"a":null,"b":null,"c":null}},"id":5})");
    m_client->send(message("6"));
    EXPECT_EQ(Receive(), answer("6"));
}

TEST_F(JsonRpcFraming, AMessageInTwoHalvesIsAnsweredOnceTheSecondHasCome) {
    const std::string request = message("1");
    SendAlone(request.substr(0, 20));
    EXPECT_FALSE(m_client->hasArrived());

    m_client->send(request.substr(20));

    EXPECT_EQ(Receive(), answer("1"));
}

TEST_F(JsonRpcFraming, LineEndsInFrontOfAMessageAreSkipped) {
    SendAlone("\r\n\n");
    m_client->send("\r" + message("1"));
    EXPECT_EQ(Receive(), answer("1"));

    m_client->send("\r\n" + message("2") + "\r\n");
    EXPECT_EQ(Receive(), answer("2"));
    m_client->send(message("3"));
    EXPECT_EQ(Receive(), answer("3"));
}

TEST_F(JsonRpcFraming, TwoMessagesOfOneReadAreAnsweredInTheirOrder) {
    m_client->send(message("1") + message("2"));

    EXPECT_EQ(Receive(), answer("1"));
    EXPECT_EQ(Receive(), answer("2"));
    m_client->send(message("3"));
    EXPECT_EQ(Receive(), answer("3"));
}

TEST_F(JsonRpcFraming, TheStartOfAMessageBehindAnotherOneIsKept) {
    SendAlone(message("1") + message("2").substr(0, 20));
    EXPECT_EQ(Receive(), answer("1"));

    m_client->send(message("2").substr(20));

    EXPECT_EQ(Receive(), answer("2"));
}

TEST_F(JsonRpcFraming, TheStartOfAMessageBehindTwoOthersIsLost) {
    SendAlone(message("1") + message("2") + message("3").substr(0, 20));
    EXPECT_EQ(Receive(), answer("1"));
    EXPECT_EQ(Receive(), answer("2"));

    m_client->send(message("4"));

    EXPECT_EQ(Receive(), answer("4"));
}

TEST_F(JsonRpcFraming, BalancedBracesInATextAreStoredAsTheyStand) {
    EXPECT_EQ(Call(*m_client, "update", R"({"path": "/example/test", "data": {"a": "{ \"{}\" }"}})"),
              R"({"jsonrpc":"2.0","result":{"code":200},"id":1})");

    EXPECT_EQ(Get("/example/test"), R"({"a":"{ \"{}\" }","b":null,"c":null})");
}

TEST_F(JsonRpcFraming, AClosingBraceInATextEndsTheMessageEarly) {
    // Taken are `...method": "}`, which is no JSON, and `", "id": 1}{`, which is none either.
    SendAlone(R"({"jsonrpc": "2.0", "method": "}", "id": 1})");
    SendAlone("{");

    m_client->send(message("2"));

    EXPECT_EQ(Receive(), answer("2"));
}

TEST_F(JsonRpcFraming, AnOpeningBraceInATextLetsTheMessageTakeTheNextClosingBraceAsWell) {
    SendAlone(R"({"jsonrpc": "2.0", "method": "{", "id": 1})");
    EXPECT_FALSE(m_client->hasArrived());
    // Together they are no JSON any more.
    SendAlone("}");

    m_client->send(message("2"));

    EXPECT_EQ(Receive(), answer("2"));
}

TEST_F(JsonRpcFraming, WhatIsNoJsonIsDroppedAndNothingElse) {
    using namespace std::string_view_literals;
    for (const std::string_view bytes :
         {"{no json}"sv, "}{"sv, "{\"a\":\"\0\"}"sv, "\0\1\xff{\x80}"sv, "{\"\\u12\"}"sv}) {
        SendAlone(std::string(bytes));
        EXPECT_FALSE(m_client->hasArrived());
        m_client->send(message("2"));
        EXPECT_EQ(Receive(), answer("2"));
    }
}

TEST_F(JsonRpcFraming, ALongMessageIsAnswered) {
    const std::string text(400000, 'x');

    EXPECT_EQ(Call(*m_client, "update", R"({"path": "/example/test", "data": {"a": ")" + text + "\"}}"),
              R"({"jsonrpc":"2.0","result":{"code":200},"id":1})");

    EXPECT_EQ(
        Call(*m_client, "read", R"({"path": "/example/test"})"),
        R"({"jsonrpc":"2.0","result":{"code":200,"data":{"a":")" + text + R"(","b":null,"c":null}},"id":1})");
}

TEST_F(JsonRpcFraming, AMessageThatDoesNotEndWithin16MiBClosesItsConnectionAlone) {
    RpcClient other = m_unit.rpc();

    m_client->send(R"({"jsonrpc": "2.0", "method": ")" + std::string(17U << 20, 'x'));

    EXPECT_TRUE(m_client->isClosed());
    EXPECT_EQ(Ask(other, message("1")), answer("1"));
    RpcClient later = m_unit.rpc();
    EXPECT_EQ(Ask(later, message("2")), answer("2"));
}

}  // namespace
