// SPDX-License-Identifier: MIT

#include <chrono>
#include <filesystem>
#include <iterator>
#include <list>
#include <memory>
#include <set>
#include <sstream>
#include <thread>

#include "ForegroundDaemon.h"
#include "UnitFixture.h"

namespace {

constexpr const char* kX = "/example/test/static/x";

class JsonRpcConnections : public UnitFixture {
  protected:
    // Changes an entry by a call on this connection.
    static std::string SetX(RpcClient& client, const std::string& member, const std::string& text) {
        return Call(
            client, "update",
            R"({"path": "/example/test/static/x", "data": {")" + member + R"(": ")" + text + R"("}})");
    }
    [[nodiscard]] long OpenDescriptors() {
        const std::filesystem::directory_iterator entries("/proc/" + std::to_string(m_unit.daemon().pid()) +
                                                          "/fd");
        return std::distance(begin(entries), end(entries));
    }
    bool AwaitAtMostDescriptors(long count) {
        for (int i = 0; i < 1000 && OpenDescriptors() > count; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return OpenDescriptors() <= count;
    }
};

constexpr const char* kUpdated = R"({"jsonrpc":"2.0","result":{"code":200},"id":1})";

TEST_F(JsonRpcConnections, ConnectionsMaySubscribeTheSameSideBySide) {
    RpcClient one = m_unit.rpc();
    RpcClient other = m_unit.rpc();
    Subscribe(one, "/example/test", R"({"data_include": "NONE"})");
    Subscribe(other, "/example/test", R"({"data_include": "UPDATED"})");

    ASSERT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Told(one), "Updated /example/test -");
    EXPECT_EQ(Told(other), R"(Updated /example/test {"a":"one"})");
}

TEST_F(JsonRpcConnections, TheEndOfAConnectionLeavesTheSubscriptionsOfOthers) {
    RpcClient staying = m_unit.rpc();
    RpcClient leaving = m_unit.rpc();
    Subscribe(staying, kX, R"({"data_include": "NONE"})");
    Subscribe(leaving, kX, R"({"data_include": "NONE"})");

    leaving.close();

    EXPECT_EQ(SetX(staying, "abc", "one"), kUpdated);
    EXPECT_EQ(Told(staying), "Updated /example/test/static/x -");
}

TEST_F(JsonRpcConnections, ALaterConnectionSubscribesWhatAnEndedOneHad) {
    for (int i = 0; i < 20; ++i) {
        RpcClient client = m_unit.rpc();
        EXPECT_EQ(Number(client.call("read", R"({"path": "/example/subscriptions/example/test"})"),
                         {"error", "code"}),
                  404.0);
        Subscribe(client, "/example/test", "null");
        Subscribe(client, "/example/test/static/x", "null");
    }
}

TEST_F(JsonRpcConnections, AnEndedConnectionLeavesNoDescriptor) {
    AwaitTaken();
    const long before = OpenDescriptors();
    std::list<RpcClient> clients;
    for (int i = 0; i < 20; ++i) {
        Subscribe(clients.emplace_back(m_unit.rpc()), "/example/test", "null");
    }
    ASSERT_GE(OpenDescriptors(), 20);

    clients.clear();

    EXPECT_TRUE(AwaitAtMostDescriptors(before)) << OpenDescriptors() << " instead of " << before;
}

TEST_F(JsonRpcConnections, AClientThatLeavesInTheMiddleOfItsMessageIsForgotten) {
    for (int i = 0; i < 50; ++i) {
        m_unit.rpc().send(R"({"jsonrpc": "2.0", "method": "re)");
    }

    RpcClient client = m_unit.rpc();
    EXPECT_EQ(SetX(client, "abc", "one"), kUpdated);
}

TEST_F(JsonRpcConnections, AClientThatLeavesBeforeItsAnswerIsForgotten) {
    for (int i = 0; i < 50; ++i) {
        m_unit.rpc().send(R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/example"}, "id": 1})");
    }

    RpcClient client = m_unit.rpc();
    EXPECT_EQ(SetX(client, "abc", "one"), kUpdated);
}

TEST_F(JsonRpcConnections, ASubscriberMayLeaveWhileItIsBeingNotified) {
    RpcClient staying = m_unit.rpc();
    Subscribe(staying, kX, R"({"data_include": "UPDATED"})");

    for (int i = 0; i < 200; ++i) {
        RpcClient leaving = m_unit.rpc();
        Subscribe(leaving, kX, "null");
        const std::string abc = R"({"abc":")" + std::to_string(i) + R"("})";
        staying.send(
            R"({"jsonrpc": "2.0", "method": "update", "params": {"path": "/example/test/static/x", "data": )" +
            abc + R"(}, "id": 1})");
        leaving.close();
        ASSERT_EQ(Compact(staying.receive().get()), kUpdated);
        ASSERT_EQ(Told(staying), "Updated /example/test/static/x " + abc);
    }
}

TEST_F(JsonRpcConnections, ASubscriberMayLeaveInTheRequestThatNotifiesIt) {
    RpcClient staying = m_unit.rpc();
    Subscribe(staying, kX, R"({"data_include": "UPDATED"})");

    for (int i = 0; i < 200; ++i) {
        RpcClient leaving = m_unit.rpc();
        Subscribe(leaving, "/example", R"({"recursive": true})");
        const std::string number = std::to_string(i);
        leaving.send(
            R"({"jsonrpc": "2.0", "method": "update", "params": {"path": "/example/test", "data": {"c": )" +
            number + "}}, \"id\": 1}");
        leaving.close();
        ASSERT_EQ(SetX(staying, "abc", number), kUpdated);
        ASSERT_EQ(Told(staying), R"(Updated /example/test/static/x {"abc":")" + number + R"("})");
    }

    const std::string last = R"({"a":null,"b":null,"c":199})";
    EXPECT_EQ(GetOnce("/example/test", last), last);
}

TEST_F(JsonRpcConnections, ASubscriberThatNeverReadsIsClosedWhen16MiBWaitForItAndOthersAreServed) {
    constexpr size_t kLimit = 16U << 20;
    // Half of a notification is what did not change: the database takes at most 1 MiB at a time.
    const std::string much(480000, 'x');
    RpcClient silent = m_unit.rpc();
    RpcClient reading = m_unit.rpc();
    Subscribe(reading, kX, R"({"data_include": "NONE"})");
    ASSERT_EQ(SetX(reading, "abc", much), kUpdated);
    ASSERT_EQ(Told(reading), "Updated /example/test/static/x -");
    Subscribe(silent, kX, "null");

    size_t notified = 0;
    for (int i = 10; notified < 2 * kLimit && !silent.isClosed(0); ++i) {
        ASSERT_EQ(SetX(reading, "def", std::to_string(i) + much), kUpdated);
        ASSERT_EQ(Told(reading), "Updated /example/test/static/x -");
        notified += 2 * much.size();
    }

    EXPECT_TRUE(silent.isClosed(0));
    EXPECT_GT(notified, kLimit);
    EXPECT_LT(notified, kLimit + (4U << 20));
    EXPECT_EQ(SetX(reading, "def", "last"), kUpdated);
    EXPECT_EQ(Told(reading), "Updated /example/test/static/x -");
}

// The daemon's log tells what no client sees.
class JsonRpcConnectionLog : public UnitFixture {
  protected:
    void SetUp() override {
        m_unit.startBus();
        m_unit.startDatabase();
        m_daemon = std::make_unique<ForegroundDaemon>(m_unit);
    }
    void TearDown() override {
        AwaitTaken();
        AwaitAsleep(m_daemon->pid());
        m_daemon->end();
        EXPECT_EQ(m_daemon->logged("Sanitizer"), 0) << m_daemon->log();
    }

    // How often the text is in the log once the daemon has read, and answered, all that was sent before.
    int Logged(const std::string& text) {
        AwaitTaken();
        return m_daemon->logged(text);
    }
    // The sessions that requests have been bound to so far.
    std::set<std::string> Sessions() {
        std::istringstream log(m_daemon->log());
        std::set<std::string> sessions;
        for (std::string line; std::getline(log, line);) {
            if (line.find("Got session with sessionId: ") != std::string::npos) {
                sessions.insert(line.substr(line.rfind(' ')));
            }
        }
        return sessions;
    }

    std::unique_ptr<ForegroundDaemon> m_daemon;
};

constexpr const char* kNobody = "[warning]: (src/NotificationManager) Transport NOT found\n";
constexpr const char* kMapped = "[debug]: (src/NotificationManager) addTransport() MUST ADD\n";
constexpr const char* kUnmapped = "[debug]: (src/NotificationManager) removeTransport() sessionID: \n";

TEST_F(JsonRpcConnectionLog, AConnectionIsMadeKnownByItsFirstCallAndNoOther) {
    RpcClient client = m_unit.rpc();
    EXPECT_EQ(Logged(kMapped), 0);

    Subscribe(client, "/example/test", "null");
    Subscribe(client, "/example/test/static", "null");

    EXPECT_EQ(Logged(kMapped), 1);
}

TEST_F(JsonRpcConnectionLog, AllCallsOfAConnectionBelongToOneSession) {
    RpcClient client = m_unit.rpc();
    RpcClient other = m_unit.rpc();

    client.call("read", R"({"path": "/example/test"})");
    client.call("read", R"({"path": "/nowhere"})");
    EXPECT_EQ(Sessions().size(), 1U);
    other.call("read", R"({"path": "/nowhere"})");
    client.call("read", R"({"path": "/system/info"})");

    EXPECT_EQ(Sessions().size(), 2U);
}

TEST_F(JsonRpcConnectionLog, ACallWithoutAPathMakesNoSession) {
    RpcClient client = m_unit.rpc();

    client.call("read", "{}");

    EXPECT_TRUE(Sessions().empty());
}

TEST_F(JsonRpcConnectionLog, TheEndOfAConnectionIsTheEndOfItsSession) {
    RpcClient client = m_unit.rpc();
    Subscribe(client, "/example/test", "null");
    const int removed = Logged("[info]: (src/web_app) removeTransport()\n");

    client.close();

    EXPECT_EQ(Logged("[info]: (src/web_app) removeTransport()\n"), removed + 1);
    EXPECT_EQ(Logged(kUnmapped), 1);
}

TEST_F(JsonRpcConnectionLog, TheEndOfAConnectionWithoutACallEndsNoSession) {
    RpcClient client = m_unit.rpc();
    AwaitTaken();

    client.close();

    EXPECT_EQ(Logged(kUnmapped), 0);
}

TEST_F(JsonRpcConnectionLog, NobodyIsLookedForWhenTheSubscribedConnectionHasEnded) {
    RpcClient client = m_unit.rpc();
    for (const char* path : {"/example", "/example/test", "/example/test/static", "/example/test/static/x",
                             "/example/test/dynamic/new"}) {
        Subscribe(client, path, R"({"recursive": true})");
    }
    client.close();
    AwaitTaken();

    EXPECT_EQ(Put("/example/test", R"({"a": "one"})"), 200);
    EXPECT_EQ(Put("/example/test/static/x", R"({"abc": "one"})"), 200);
    EXPECT_EQ(Post("/example/test/dynamic", R"({"abc": "one"})"), 201);
    const std::string created = R"([{"id":1,"abc":"one","def":null}])";
    EXPECT_EQ(GetOnce("/example/test/dynamic", created), created);

    EXPECT_EQ(Logged(kNobody), 0);
}

TEST_F(JsonRpcConnectionLog, AChangeThatOnlyAnHttpSessionSubscribedIsLoggedAndToldToNobody) {
    RpcClient client = m_unit.rpc();
    ASSERT_EQ(Number(client.call("read", R"({"path": "/example/test"})"), {"result", "code"}), 200.0);
    ASSERT_EQ(Post("/example/subscriptions/example/test", "{}"), 201);

    EXPECT_EQ(Put("/example/test", R"({"a": "one"})"), 200);

    EXPECT_EQ(Logged(kNobody), 1);
    EXPECT_FALSE(client.hasArrived());
}

TEST_F(JsonRpcConnectionLog, AMessageThatDoesNotEndIsLoggedOnce) {
    RpcClient client = m_unit.rpc();

    client.send(std::string(17U << 20, '{'));

    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ(Logged("[warning]: (src/SocketTransport) Closing a connection: its message does not end\n"), 1);
}

TEST_F(JsonRpcConnectionLog, AMessageIsLoggedWithoutTheLineEndsInFrontOfIt) {
    RpcClient client = m_unit.rpc();

    client.send(
        "\r\n\n"
        R"({"jsonrpc": "2.0", "method": "none"})");

    EXPECT_EQ(Logged(R"((src/SocketTransport) Got message: {"jsonrpc": "2.0", "method": "none"})"
                     "\n"),
              1);
}

TEST_F(JsonRpcConnectionLog, BytesThatAreNoJsonAreLogged) {
    RpcClient client = m_unit.rpc();

    client.send("{no json}");

    EXPECT_EQ(Logged("[error]: (src/SocketTransport) JSON parse error: "), 1);
}

}  // namespace
