// SPDX-License-Identifier: MIT

#include "FaultFixture.h"

// What the daemon does when the bus fails.

namespace {

class BusFaults : public FaultFixture {
  protected:
    // As its supervisor does after the end of the bus.
    void RestartBusAndDaemon() {
        m_unit.startBus();
        ASSERT_TRUE(m_unit.database().awaitOutput("the bus is gone: joining it again"));
        m_unit.startDaemon();
    }
};

constexpr const char* kX = R"({"a":"x","b":null,"c":null})";

TEST_F(BusFaults, WithoutItsBusTheDaemonServesWhatItKnowsAndRefusesToWrite) {
    ASSERT_EQ(Put("/example/test", R"({"a": "x"})"), 200);
    ASSERT_EQ(Get("/example/test"), kX);

    Kill(m_unit.bus());

    EXPECT_EQ(Get("/example/test"), kX);
    EXPECT_EQ(Put("/example/test", R"({"a": "lost"})"), 500);
    EXPECT_EQ(Get("/example/test"), kX);
    EXPECT_EQ(Request("GET", "/system/info").status, 200);
    const long used_ms = m_unit.daemon().usedMs();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LT(m_unit.daemon().usedMs() - used_ms, 250);
    RestartBusAndDaemon();
}

TEST_F(BusFaults, OnAnotherBusARestartedDaemonFindsWhatWasWritten) {
    ASSERT_EQ(Put("/example/test", R"({"a": "x"})"), 200);
    {
        const OtherProgram other(m_unit);
        ASSERT_EQ(StoredOnce("ram.system.test.a", "x"), "x");
    }

    Kill(m_unit.bus());
    RestartBusAndDaemon();

    const OtherProgram other(m_unit);
    EXPECT_EQ(StoredOnce("ram.system.test.a", "x"), "x");
    EXPECT_EQ(Get("/example/test"), kX);
}

TEST_F(BusFaults, TheRequestThatWaitsForTheBusIsAnsweredWhenThatIsKilled) {
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored("/example/test");

    Kill(m_unit.bus());

    EXPECT_EQ(Received(client), R"(200 {"a":null,"b":null,"c":null})");
    m_unit.database().signal(SIGCONT);
    RestartBusAndDaemon();
}

TEST_F(BusFaults, TheRequestThatWaitsForAStoppedBusIsAnsweredWhenThatIsKilled) {
    m_unit.bus().signal(SIGSTOP);
    HttpClient client = BeginGet("/example/test");
    ASSERT_FALSE(client.hasArrived(300));

    Kill(m_unit.bus());

    EXPECT_EQ(Received(client), R"(200 {"a":null,"b":null,"c":null})");
    RestartBusAndDaemon();
}

TEST_F(BusFaults, AStoppedBusDelaysWhatAsksTheDatabaseAndLosesNothing) {
    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.static.x.abc", "stored"), CONFIG_OK);
    RpcClient subscriber = m_unit.rpc();
    Subscribe(subscriber, "/example/test", R"({"data_include": "UPDATED"})");
    ASSERT_EQ(Get("/example/test"), R"({"a":null,"b":null,"c":null})");

    m_unit.bus().signal(SIGSTOP);
    EXPECT_EQ(Put("/example/test", R"({"a": "x"})"), 200);
    EXPECT_EQ(Told(subscriber), R"(Updated /example/test {"a":"x"})");
    EXPECT_EQ(Get("/example/test"), kX);
    HttpClient client = BeginGet("/example/test/static/x");
    EXPECT_FALSE(client.hasArrived(300));
    m_unit.bus().signal(SIGCONT);

    EXPECT_NE(Received(client).find(R"("abc":"stored")"), std::string::npos);
    EXPECT_EQ(StoredOnce("ram.system.test.a", "x"), "x");
}

}  // namespace
