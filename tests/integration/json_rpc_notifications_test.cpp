// SPDX-License-Identifier: MIT

#include <optional>

#include "UnitFixture.h"

namespace {

class JsonRpcNotifications : public UnitFixture {
  protected:
    // What comes next, "answer" for a response.
    static std::string Next(RpcClient& client) {
        const JsonPtr message = client.receive();
        return Member(message, {"result"}) != nullptr ? "answer" : Text(message, {"method"});
    }
    // Asks for a change of /example/test; nothing is received.
    static void SendUpdate(RpcClient& client, const std::string& data) {
        client.send(R"({"jsonrpc": "2.0", "method": "update", "params": {"path": "/example/test", "data": )" +
                    data + R"(}, "id": 1})");
    }
    // The database reports every write, those of the daemon too. Returns when it has heard of all that were
    // made.
    void AwaitReports() {
        if (!m_reports) {
            Subscribe(m_reports.emplace(m_unit.rpc()), "/example/test/static/z",
                      R"({"data_include": "UPDATED"})");
        }
        const std::string abc = R"({"abc":")" + std::to_string(++m_rounds) + R"("})";
        ASSERT_EQ(Put("/example/test/static/z", abc), 200);
        ASSERT_EQ(Told(*m_reports), "Updated /example/test/static/z " + abc);
    }

    std::optional<RpcClient> m_reports;
    int m_rounds = 0;
};

TEST_F(JsonRpcNotifications, ANotificationHasMethodAndParamsAndNothingElse) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", "null");

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Compact(client.receive().get()),
              R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/example/test",)"
              R"("data":{"a":"one","b":null,"c":null}}})");
}

TEST_F(JsonRpcNotifications, ANotificationToASubscriberOfNoDataHasThePathAlone) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Compact(client.receive().get()),
              R"({"jsonrpc":"2.0","method":"Updated","params":{"path":"/example/test"}})");
}

TEST_F(JsonRpcNotifications, TheResponseComesBeforeTheNotificationThatItsRequestCaused) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"data_include": "UPDATED"})");

    for (const char* data : {R"({"a":"one"})", R"({"b":"two"})", R"({"c":3})"}) {
        SendUpdate(client, data);
        EXPECT_EQ(Next(client), "answer");
        EXPECT_EQ(Told(client), std::string("Updated /example/test ") + data);
    }
}

TEST_F(JsonRpcNotifications, TheResponseToACreateComesBeforeItsNotifications) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test/dynamic/new", "null");

    client.send(R"({"jsonrpc": "2.0", "method": "create",)"
                R"( "params": {"path": "/example/test/dynamic", "data": {"abc": "one"}}, "id": 1})");

    EXPECT_EQ(Next(client), "answer");
    EXPECT_EQ(Told(client), R"(Created /example/test/dynamic/new {"id":1,"abc":"one","def":null})");
}

TEST_F(JsonRpcNotifications, TheResponseIsThereBeforeAnotherConnectionIsNotified) {
    RpcClient asking = m_unit.rpc();
    RpcClient listening = m_unit.rpc();
    Subscribe(listening, "/example/test", "null");

    for (int i = 0; i < 50; ++i) {
        SendUpdate(asking, R"({"c": )" + std::to_string(i) + "}");
        EXPECT_EQ(Next(listening), "Updated");
        EXPECT_TRUE(asking.hasArrived());
        EXPECT_EQ(Next(asking), "answer");
        AwaitReports();
    }
}

TEST_F(JsonRpcNotifications, ACallWithoutAnIdIsNotifiedThoughNotAnswered) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", R"({"data_include": "UPDATED"})");

    client.send(
        R"({"jsonrpc": "2.0", "method": "update", "params": {"path": "/example/test", "data": {"c": 3}}})");

    EXPECT_EQ(Told(client), R"(Updated /example/test {"c":3})");
}

TEST_F(JsonRpcNotifications, EachConnectionHearsOfItsOwnSubscriptionsOnly) {
    RpcClient object = m_unit.rpc();
    RpcClient entry = m_unit.rpc();
    Subscribe(object, "/example/test", R"({"data_include": "NONE"})");
    Subscribe(entry, "/example/test/static/x", R"({"data_include": "NONE"})");

    ASSERT_EQ(Put("/example/test/static/x", R"({"abc": "one"})"), 200);
    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    ASSERT_EQ(Put("/example/test/static/x", R"({"abc": "two"})"), 200);

    EXPECT_EQ(Told(object), "Updated /example/test -");
    EXPECT_EQ(Told(entry), "Updated /example/test/static/x -");
    EXPECT_EQ(Told(entry), "Updated /example/test/static/x -");
    EXPECT_FALSE(object.hasArrived());
}

TEST_F(JsonRpcNotifications, NotificationsComeInTheOrderOfTheChanges) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test/static", R"({"data_include": "NONE"})");

    for (int i = 0; i < 5; ++i) {
        for (const char* entry : {"z", "x", "y"}) {
            const std::string abc = R"({"abc": ")" + std::to_string(i) + "\"}";
            ASSERT_EQ(Put(std::string("/example/test/static/") + entry, abc), 200);
        }
    }

    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Told(client), "Updated /example/test/static/z -");
        EXPECT_EQ(Told(client), "Updated /example/test/static/x -");
        EXPECT_EQ(Told(client), "Updated /example/test/static/y -");
    }
}

TEST_F(JsonRpcNotifications, ASubscriptionOfAnHttpSessionKeepsNobodyFromHearing) {
    RpcClient client = m_unit.rpc();
    ASSERT_EQ(Post("/example/subscriptions/example/test", "{}"), 201);
    Subscribe(client, "/example/test", R"({"data_include": "UPDATED"})");
    ASSERT_EQ(Post("/example/subscriptions/example/test", "{}"), 201);

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Told(client), R"(Updated /example/test {"a":"one"})");
}

}  // namespace
