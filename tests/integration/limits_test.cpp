// SPDX-License-Identifier: MIT

// What clients may take of the daemon: connections and descriptors.

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <list>
#include <thread>

#include "gtest/gtest.h"

#include "ForegroundDaemon.h"
#include "UnitFixture.h"

namespace {

bool IsServed(HttpClient& client) {
    return client.request("GET", "/system/info").status == 200;
}
bool IsServed(RpcClient& client) {
    const JsonPtr answer = client.call("read", R"({"path": "/system/info"})");
    return cJSON_GetObjectItemCaseSensitive(answer.get(), "result") != nullptr;
}

// A connection that is served: the daemon notices the end of earlier ones in its own time.
template <class Connect>
auto served(Connect connect) {
    auto client = connect();
    for (int i = 0; i < 1000 && !IsServed(client); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        client = connect();
    }
    return client;
}

// Clients of both kinds that keep their connections.
struct Crowd {
    void join(const RunningUnit& unit, int http_count, int rpc_count) {
        for (int i = 0; i < http_count; ++i) {
            http.push_back(unit.http());
        }
        for (int i = 0; i < rpc_count; ++i) {
            rpc.push_back(unit.rpc());
        }
    }
    // Each is served before the next one comes.
    void joinServed(const RunningUnit& unit, int http_count, int rpc_count) {
        for (int i = 0; i < http_count; ++i) {
            http.push_back(served([&unit] { return unit.http(); }));
        }
        for (int i = 0; i < rpc_count; ++i) {
            rpc.push_back(served([&unit] { return unit.rpc(); }));
        }
    }

    std::list<HttpClient> http;
    std::list<RpcClient> rpc;
};

class Limits : public UnitFixture {
  protected:
    void TearDown() override {
        ASSERT_TRUE(HasRoom());
        UnitFixture::TearDown();
    }

    // Whether there is room for a new connection, once the daemon has noticed the end of others.
    bool HasRoom() {
        HttpClient client = served([this] { return m_unit.http(); });
        return client.connected() && IsServed(client);
    }
    void AllowDescriptors(rlim_t count) {
        const rlimit limit{count, 20000};
        ASSERT_EQ(prlimit(m_unit.daemon().pid(), RLIMIT_NOFILE, &limit, nullptr), 0);
    }
};

TEST_F(Limits, The513thHttpConnectionIsClosedAtOnceAndTheOthersAreServed) {
    Crowd crowd;
    crowd.joinServed(m_unit, 512, 0);
    EXPECT_TRUE(IsServed(crowd.http.back()));

    EXPECT_TRUE(m_unit.http().awaitClose());

    for (HttpClient& client : crowd.http) {
        ASSERT_TRUE(IsServed(client));
    }
    RpcClient other = m_unit.rpc();
    EXPECT_TRUE(IsServed(other));
    crowd.http.pop_front();
    EXPECT_TRUE(HasRoom());
}

TEST_F(Limits, The257thJsonRpcConnectionIsClosedAtOnceAndTheOthersAreServed) {
    Crowd crowd;
    crowd.joinServed(m_unit, 0, 256);
    EXPECT_TRUE(IsServed(crowd.rpc.back()));

    EXPECT_TRUE(m_unit.rpc().isClosed());

    for (RpcClient& client : crowd.rpc) {
        ASSERT_TRUE(IsServed(client));
    }
    EXPECT_TRUE(HasRoom());
}

TEST_F(Limits, WithoutDescriptorsNothingSpinsAndOpenConnectionsAreServed) {
    HttpClient browser = m_unit.http();
    RpcClient program = m_unit.rpc();
    Subscribe(program, "/example/test", R"({"data_include": "UPDATED"})");
    // A write of the daemon's goes to the database over the bus, and its change comes back.
    const auto write_and_hear = [&](const std::string& value) {
        const HttpResponse put = browser.request("PUT", "/example/test", R"({"data": {"c": )" + value + "}}",
                                                 {"Accept: application/json"});
        EXPECT_EQ(put.status, 200);
        EXPECT_EQ(Told(program), R"(Updated /example/test {"c":)" + value + "}");
    };
    write_and_hear("4710");
    ASSERT_TRUE(IsServed(browser) && IsServed(program));
    AllowDescriptors(static_cast<rlim_t>(m_unit.daemon().openDescriptors() + 4));
    Crowd crowd;
    crowd.join(m_unit, 20, 20);

    const long used = m_unit.daemon().usedMs();
    std::this_thread::sleep_for(std::chrono::seconds(1));

    EXPECT_LT(m_unit.daemon().usedMs() - used, 300);
    EXPECT_TRUE(IsServed(browser));
    EXPECT_TRUE(IsServed(program));
    write_and_hear("4711");
}

TEST_F(Limits, ClientsThatWaitForADescriptorAreServedWhenThereAreSome) {
    AllowDescriptors(static_cast<rlim_t>(m_unit.daemon().openDescriptors()));
    Crowd crowd;
    crowd.join(m_unit, 5, 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));  // both listeners have paused

    AllowDescriptors(1024);

    for (HttpClient& client : crowd.http) {
        EXPECT_TRUE(IsServed(client));
    }
    for (RpcClient& client : crowd.rpc) {
        EXPECT_TRUE(IsServed(client));
    }
}

// A daemon with small limits, in the foreground, where its log can be read.
class SmallLimits : public testing::Test {
  protected:
    void SetUp() override {
        m_unit.startBus();
        m_unit.startDatabase();
        setenv("ORVALE_HTTP_CONNECTIONS", "2", 1);
        setenv("ORVALE_RPC_CONNECTIONS", "2", 1);
        setenv("ORVALE_SESSIONS", "2", 1);
        m_daemon = std::make_unique<ForegroundDaemon>(m_unit);
        unsetenv("ORVALE_HTTP_CONNECTIONS");
        unsetenv("ORVALE_RPC_CONNECTIONS");
        unsetenv("ORVALE_SESSIONS");
    }

    RunningUnit m_unit;
    std::unique_ptr<ForegroundDaemon> m_daemon;
};

TEST_F(SmallLimits, AThirdSessionEndsTheFirst) {
    HttpClient client = served([this] { return m_unit.http(); });
    const auto new_cookie = [&client](const std::string& cookie) {
        return client.request("GET", "/system/info", "", {"Cookie: " + cookie}).header("Set-Cookie");
    };
    const std::string first = new_cookie("none=0");
    ASSERT_EQ(new_cookie(first), "");
    new_cookie("none=0");

    new_cookie("none=0");

    EXPECT_NE(new_cookie(first), "");
}

TEST_F(SmallLimits, OneLogLineNamesWhoHoldsTheConnections) {
    const auto http = [this] { return m_unit.http(); };
    const auto rpc = [this] { return m_unit.rpc(); };
    const HttpClient browsers[] = {served(http), served(http)};
    const RpcClient programs[] = {served(rpc), served(rpc)};

    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(m_unit.http().awaitClose());
        ASSERT_TRUE(m_unit.rpc().isClosed());
    }

    EXPECT_EQ(m_daemon->logged("connections refused"), 2) << m_daemon->log();
    EXPECT_EQ(m_daemon->logged("(src/HabEventServer) 1 connections refused, as 2 may be open. "
                               "Most of them: 127.0.0.1 (2)"),
              1);
    EXPECT_EQ(
        m_daemon->logged("(src/SocketTransport) 1 connections refused, as 2 may be open. Most of them: pid " +
                         std::to_string(getpid()) + " uid " + std::to_string(getuid()) + " (2)"),
        1);
}

}  // namespace
