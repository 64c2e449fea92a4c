// SPDX-License-Identifier: MIT

#include "src/rpc/SocketTransport.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "RpcSocketFixture.h"

using SocketTransportTest = RpcSocketFixture;
using SocketTransportDeathTest = RpcSocketFixture;

TEST_F(SocketTransportTest, AnswersARequest) {
    Client client = Connect();

    client.Send(R"({"jsonrpc": "2.0", "method": "echo", "params": {"path": "/a"}, "id": 7})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":{"path":"/a"},"id":7})");
}

TEST_F(SocketTransportTest, AnswersOneRequestAfterTheOther) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");
    client.Receive();

    client.Send(
        "\n"
        R"({"jsonrpc": "2.0", "method": "echo", "id": 2})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":2})");
}

TEST_F(SocketTransportTest, AnswersAMessageThatComesInTwoReads) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "meth)");
    Turn();

    client.Send(R"(od": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, AnswersAMessageThatComesByteByByte) {
    Client client = Connect();

    for (const char byte : std::string(R"({"jsonrpc": "2.0", "method": "none", "id": 1})")) {
        client.Send(std::string_view(&byte, 1));
    }

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, SkipsLineEndsBeforeAMessage) {
    Client client = Connect();

    client.Send(
        "\r\n\n\r"
        R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count(R"(7 src/SocketTransport: Got message: {"jsonrpc": "2.0", "method": "none", "id": 1})"
                        "\n"),
              1);
}

TEST_F(SocketTransportTest, AnswersTwoMessagesOfOneRead) {
    Client client = Connect();

    client.Send(R"({"jsonrpc":"2.0","method":"none","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":2})");
}

TEST_F(SocketTransportTest, IsReadyForTheNextMessageAfterTwoOfOneRead) {
    Client client = Connect();
    client.Send(R"({"jsonrpc":"2.0","method":"none","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");
    client.Receive();
    client.Receive();

    client.Send(R"({"jsonrpc":"2.0","method":"echo","id":3})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":null,"id":3})");
}

TEST_F(SocketTransportTest, LosesBytesOfAnUnfinishedMessageBehindTwoOfOneRead) {
    Client client = Connect();
    // After the two messages as many bytes are lost as the first one has: the five of "lost{".
    client.Send(R"({"a"}{}lost{)"
                R"({"jsonrpc":"2.0","method":"none",)");
    Turn();

    client.Send(R"("id":1})");

    EXPECT_EQ(client.Receive(),
              R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})");
    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, KeepsAnUnfinishedMessageBehindASingleOneOfOneRead) {
    Client client = Connect();
    client.Send(R"({"jsonrpc":"2.0","method":"echo","id":2}{"jsonrpc":"2.0","method":"none",)");
    client.Receive();

    client.Send(R"("id":1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, DropsAMessageThatIsNotJson) {
    Client client = Connect();
    client.Send(R"({"jsonrpc" "2.0"})");
    Turn();

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count(R"(3 src/SocketTransport: JSON parse error: "2.0"})"
                        "\n"),
              1);
}

TEST_F(SocketTransportTest, AMessageThatIsNotJsonCannotMakeALogLineOfItsOwn) {
    Client client = Connect();

    client.Send("{\"jsonrpc\" no\nForged: line}");
    Turn();

    EXPECT_EQ(log.count("3 src/SocketTransport: JSON parse error: no?Forged: line}\n"), 1);
}

TEST_F(SocketTransportTest, EndsAMessageAtABraceInsideAString) {
    Client client = Connect();

    client.Send(R"({"jsonrpc": "2.0", "method": "}", "id": 1})");
    Turn();

    EXPECT_EQ(log.countOf("3 src/SocketTransport: JSON parse error: "), 1);
    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, TakesABraceThatClosesFirstAsPartOfAMessageThatIsNotJson) {
    Client client = Connect();
    client.Send("}{");
    Turn();

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.count("3 src/SocketTransport: JSON parse error: }{\n"), 1);
}

TEST_F(SocketTransportTest, ReadsAMessageUpToANulByte) {
    Client client = Connect();

    client.Send(std::string_view("{\"a\":\"\0\"}\0{}", 12));
    Turn();

    EXPECT_EQ(log.count("7 src/SocketTransport: Got message: {\"a\":\"\n"), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport: Got message: \n"), 1);
    EXPECT_EQ(log.countOf("3 src/SocketTransport: JSON parse error: "), 2);
}

TEST_F(SocketTransportTest, DropsAMessageWithAnEscapedNul) {
    Client client = Connect();

    client.Send(R"({"jsonrpc": "2.0", "method": "none\u0000", "id": 1})");
    Turn();

    EXPECT_EQ(log.countOf("3 src/SocketTransport: JSON parse error: \\u0000"), 1);
}

TEST_F(SocketTransportTest, DropsAMessageThatIsNestedTooDeep) {
    Client client = Connect();
    std::string deep = "{\"a\":";
    deep += std::string(2000, '[') + std::string(2000, ']') + "}";
    client.Send(deep);

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.countOf("3 src/SocketTransport: JSON parse error: "), 1);
}

TEST_F(SocketTransportTest, DropsAMessageOfMoreThan200000Values) {
    Client client = Connect();
    std::string many = "{\"a\":[0";
    for (int i = 0; i < 200000; ++i) {
        many += ",0";
    }
    client.Send(many + "]}");

    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(log.countOf("3 src/SocketTransport: JSON parse error: "), 1);
}

TEST_F(SocketTransportTest, AnswersThousandsOfMessagesOfOneRead) {
    Client client = Connect();
    std::string flood;
    for (int i = 0; i < 5000; ++i) {
        flood += "{}";
    }
    client.Send(flood);

    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(client.Receive(),
                  R"({"jsonrpc":"2.0","error":{"code":-32700,"message":"Parse error"},"id":null})");
    }
}

TEST_F(SocketTransportTest, AnswersALongMessage) {
    Client client = Connect();
    const std::string text(4U << 20, 'x');

    client.Send(R"({"jsonrpc": "2.0", "method": "echo", "params": ")" + text + R"(", "id": 1})");

    EXPECT_EQ(client.Receive(), R"({"jsonrpc":"2.0","result":")" + text + R"(","id":1})");
}

TEST_F(SocketTransportTest, ClosesAConnectionWhoseMessageDoesNotEnd) {
    Client client = Connect();

    client.Send(std::string(SocketTransport::kMaxUnfinishedBytes + 70000, '{'));

    EXPECT_EQ(client.Receive(), "");
    EXPECT_EQ(listener.removals(), 1);
    EXPECT_EQ(log.count("4 src/SocketTransport: Closing a connection: its message does not end\n"), 1);
}

TEST_F(SocketTransportTest, ClosesAConnectionThatDoesNotReadWhatItIsSent) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const JsonPtr params(cJSON_CreateString(std::string(1U << 20, 'x').c_str()));

    for (int i = 0; i < 17; ++i) {
        server.sendNotification("Updated", params.get(), listener.live().front());
    }
    const int removals_meanwhile = listener.removals();

    EXPECT_EQ(removals_meanwhile, 0);
    EXPECT_TRUE(UntilConnections(0));
    EXPECT_EQ(log.count("4 src/SocketTransport: Closing a connection: it does not read what it is sent\n"),
              1);
}

TEST_F(SocketTransportTest, ClosesTheConnectionThatHoldsMostOfTooManyUnfinishedMessages) {
    const auto begun = [this](size_t size) {
        auto client = std::make_unique<Client>(Connect());
        client->Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1, "x": ")" + std::string(size, 'x'));
        Turn();
        return client;
    };
    const auto largest = begun(15900000);
    const auto second = begun(15000000);
    const auto third = begun(15000000);
    const auto fourth = begun(15000000);

    const auto fifth = begun(7000000);

    EXPECT_EQ(largest->Receive(), "");
    second->Send("\"}");
    EXPECT_EQ(second->Receive(), kNotFoundOne);
    EXPECT_EQ(log.countOf("4 src/SocketTransport: Closing a connection: "), 1);
}

TEST_F(SocketTransportTest, ClosesTheConnectionForWhichMostWaitsOfTooMuch) {
    std::list<Client> clients;
    for (size_t i = 0; i < 5; ++i) {
        clients.push_back(Connect());
        ASSERT_TRUE(UntilConnections(i + 1));
    }
    const JsonPtr params(cJSON_CreateString(std::string(1U << 20, 'x').c_str()));
    const auto send = [&](RPCTransport* transport, int count) {
        for (int i = 0; i < count; ++i) {
            server.sendNotification("Updated", params.get(), transport);
        }
    };
    const std::vector<RPCTransport*> transports(listener.live().begin(), listener.live().end());
    send(transports[0], 15);
    for (const size_t i : {1U, 2U, 3U, 4U}) {
        send(transports[i], 13);
    }

    EXPECT_TRUE(UntilConnections(4));
    EXPECT_NE(listener.live().front(), transports[0]);
}

TEST_F(SocketTransportTest, HoldsNoMoreThanTheLimitInOneTurnHoweverManyDoNotRead) {
    std::list<Client> clients;
    for (size_t i = 0; i < 40; ++i) {
        clients.push_back(Connect());
        ASSERT_TRUE(UntilConnections(i + 1));
    }
    const JsonPtr params(cJSON_CreateString(std::string(8U << 20, 'x').c_str()));
    const auto held = [this] {
        size_t sum = 0;
        for (const RPCTransport* transport : listener.live()) {
            sum += static_cast<const SocketTransport*>(transport)->heldBytes();
        }
        return sum;
    };

    size_t most = 0;
    for (RPCTransport* transport : listener.live()) {
        server.sendNotification("Updated", params.get(), transport);
        most = std::max(most, held());
    }

    EXPECT_GT(most, SocketTransport::kMaxHeldBytes / 2);
    EXPECT_LE(most, SocketTransport::kMaxHeldBytes);
    EXPECT_EQ(listener.removals(), 0);
}

TEST_F(SocketTransportTest, DropsWhatItHoldsOfAConnectionWhenItDecidesToCloseIt) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0",)");
    ASSERT_TRUE(UntilConnections(1));
    Turn();
    const auto* const connection = static_cast<const SocketTransport*>(listener.live().front());
    EXPECT_GT(connection->heldBytes(), 0U);

    const JsonPtr params(cJSON_CreateString(std::string(10U << 20, 'x').c_str()));
    for (int i = 0; i < 2; ++i) {
        server.sendNotification("Updated", params.get(), listener.live().front());
    }

    EXPECT_EQ(listener.removals(), 0);
    EXPECT_EQ(connection->heldBytes(), 0U);
}

TEST_F(SocketTransportTest, KeepsAConnectionThatReadsWhatItIsSent) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const JsonPtr params(cJSON_CreateString(std::string(1U << 20, 'x').c_str()));

    for (int i = 0; i < 17; ++i) {
        server.sendNotification("Updated", params.get(), listener.live().front());
        ASSERT_NE(client.Receive(), "");
    }

    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, SendsATextThatIsLongerThanTheLimitToAClientThatReads) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));
    const std::string text = "{\"a\":\"" + std::string(SocketTransport::kMaxWaitingBytes + 1, 'x') + "\"}";

    listener.live().front()->sendData(text.c_str());

    EXPECT_EQ(client.Receive().size(), text.size());
    EXPECT_EQ(listener.live().size(), 1U);
}

TEST_F(SocketTransportTest, SendsAtOnceWhatTheSocketTakes) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));

    listener.live().front()->sendData("{}");

    EXPECT_EQ(client.ReceiveNow(), "{}");
}

TEST_F(SocketTransportTest, KeepsTheOrderOfTextsThatTheSocketDoesNotTakeAtOnce) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));

    for (int i = 0; i < 1000; ++i) {
        const std::string text = "{\"a\":" + std::to_string(i) + ",\"b\":\"" + std::string(1000, 'x') + "\"}";
        listener.live().front()->sendData(text.c_str());
    }

    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(client.Receive().starts_with("{\"a\":" + std::to_string(i) + ",")) << i;
    }
}

TEST_F(SocketTransportTest, AnswersAClientThatEndsItsSideBehindTheRequest) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");

    client.SendEnd();

    EXPECT_EQ(client.Receive(), kNotFoundOne);
    EXPECT_EQ(client.Receive(), "");
}

TEST_F(SocketTransportTest, RemovesAConnectionWhoseClientCloses) {
    Client client = Connect();
    ASSERT_TRUE(UntilConnections(1));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
    EXPECT_EQ(listener.removals(), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport: BEV_EVENT_EOF | BEV_EVENT_ERROR"), 1);
    EXPECT_EQ(log.count("7 src/SocketTransport: SocketTransport::destroy()"), 1);
}

TEST_F(SocketTransportTest, RemovesAConnectionThatIsReset) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0", "method": "none", "id": 1})");
    ASSERT_TRUE(Until([&client] {
        char byte;
        return recv(client.Descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 1;
    }));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
}

TEST_F(SocketTransportTest, DropsAnUnfinishedMessageWithItsConnection) {
    Client client = Connect();
    client.Send(R"({"jsonrpc": "2.0",)");
    ASSERT_TRUE(UntilConnections(1));

    client.Close();

    EXPECT_TRUE(UntilConnections(0));
}

TEST_F(SocketTransportTest, ServesConnectionsSideBySide) {
    Client first = Connect();
    Client second = Connect();
    first.Send(R"({"jsonrpc": "2.0", "method")");

    second.Send(R"({"jsonrpc": "2.0", "method": "echo", "id": 2})");
    const std::string second_answer = second.Receive();
    first.Send(R"(: "none", "id": 1})");

    EXPECT_EQ(second_answer, R"({"jsonrpc":"2.0","result":null,"id":2})");
    EXPECT_EQ(first.Receive(), kNotFoundOne);
}

TEST_F(SocketTransportTest, MayGoWhileItsOwnMessageIsHandled) {
    ScriptedMethod end([this](cJSON*, bool& isResult, RPCTransport* caller) {
        server.sendNotification("Updated", nullptr, caller);
        SocketTransport::destroy(static_cast<SocketTransport*>(caller));
        isResult = true;
        return JsonPtr();
    });
    server.registerMethod("end", &end);
    Client client = Connect();

    client.Send(R"({"jsonrpc":"2.0","method":"end","id":1}{"jsonrpc":"2.0","method":"echo","id":2})");

    EXPECT_EQ(client.Receive(), "");
    EXPECT_TRUE(listener.live().empty());
}

TEST_F(SocketTransportDeathTest, StopsTheProcessWhenItSendsWithoutConnection) {
    EXPECT_EXIT(listening->sendData("text"), testing::KilledBySignal(SIGABRT), "");
}
