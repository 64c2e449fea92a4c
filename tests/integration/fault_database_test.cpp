// SPDX-License-Identifier: MIT

#include <memory>

#include "FaultFixture.h"
#include "ImpatientBus.h"
#include "tests/support/FullDisk.h"

// What the daemon does when the database fails.

namespace {

class DatabaseFaults : public FaultFixture {
  protected:
    [[nodiscard]] static bool IsReady(const std::string& status) {
        return status.find(R"("system_status":"READY")") != std::string::npos;
    }
    static constexpr const char* kTest = "/example/test";
    static constexpr const char* kUnknown = R"({"a":null,"b":null,"c":null})";
};

TEST_F(DatabaseFaults, KilledBeforeARequestItLeavesTheResourceWithoutValuesUntilItsKeysChange) {
    Kill(m_unit.database());

    EXPECT_EQ(Get(kTest), kUnknown);

    m_unit.startDatabase();
    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.a", "x"), CONFIG_OK);
    EXPECT_EQ(GetOnce(kTest, R"({"a":"x","b":null,"c":null})"), R"({"a":"x","b":null,"c":null})");
}

TEST_F(DatabaseFaults, KilledWhileItOwesAReplyItCostsTheAnswerItsValuesOnly) {
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored("/system/status");

    Kill(m_unit.database());

    EXPECT_NE(Received(client).find(R"("system_status":null)"), std::string::npos);
    m_unit.startDatabase();
    EXPECT_TRUE(IsReady(Get("/system/status")));
}

TEST_F(DatabaseFaults, KilledAfterItsReplyItLeavesLastKnownValuesAndChangesAreToldAgainWhenItIsBack) {
    ASSERT_EQ(Put(kTest, R"({"a": "x"})"), 200);
    RpcClient subscriber = m_unit.rpc();
    Subscribe(subscriber, kTest, R"({"data_include": "UPDATED"})");

    Kill(m_unit.database());
    EXPECT_EQ(Get(kTest), R"({"a":"x","b":null,"c":null})");

    m_unit.startDatabase();
    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.b", "y"), CONFIG_OK);
    EXPECT_EQ(Told(subscriber), R"(Updated /example/test {"b":"y"})");
    EXPECT_EQ(Get(kTest), R"({"a":"x","b":"y","c":null})");
}

// A write is a signal on the bus, which nobody answers.
TEST_F(DatabaseFaults, WhatIsWrittenWhileItIsGoneIsKnownToTheDaemonOnly) {
    ASSERT_EQ(Get(kTest), kUnknown);
    Kill(m_unit.database());

    EXPECT_EQ(Put(kTest, R"({"a": "x"})"), 200);
    EXPECT_EQ(Get(kTest), R"({"a":"x","b":null,"c":null})");

    m_unit.startDatabase();
    m_unit.startDaemon();
    EXPECT_EQ(Get(kTest), kUnknown);
}

TEST_F(DatabaseFaults, ALateReplyIsWaitedFor) {
    const OtherProgram other(m_unit);
    ASSERT_EQ(Store("ram.system.test.a", "x"), CONFIG_OK);
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored(kTest);
    HttpClient behind = BeginGet(kTest);
    EXPECT_FALSE(client.hasArrived(300));

    m_unit.database().signal(SIGCONT);

    EXPECT_EQ(Received(client), R"(200 {"a":"x","b":null,"c":null})");
    EXPECT_EQ(Received(behind), R"(200 {"a":"x","b":null,"c":null})");
}

// On a bus that gives a provider three seconds instead of thirty.
class SilentDatabase : public DatabaseFaults {
  protected:
    void SetUp() override {
        m_bus = std::make_unique<ImpatientBus>(m_unit.busAddress(), 3000);
        m_unit.startDatabase();
        m_unit.startDaemon();
    }
    std::unique_ptr<ImpatientBus> m_bus;
};

TEST_F(SilentDatabase, IsAnsweredForByTheBusSoThatNoRequestHangs) {
    EXPECT_EQ(BrokerOptions().reply_timeout_ms, 30'000U);
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored(kTest);
    HttpClient behind = BeginGet("/system/info");

    EXPECT_EQ(Received(client), std::string("200 ") + kUnknown);
    EXPECT_NE(Received(behind).find(R"("serial_number":null)"), std::string::npos);
    m_unit.database().signal(SIGCONT);
}

TEST_F(SilentDatabase, WhoseRepliesComeTooLateConfusesNoLaterRequest) {
    const OtherProgram other(m_unit);
    m_unit.database().signal(SIGSTOP);
    HttpClient client = BeginGetOfStored("/system/status");
    EXPECT_NE(Received(client).find(R"("system_status":null)"), std::string::npos);

    m_unit.database().signal(SIGCONT);

    for (int i = 0; i < 1000 && !IsReady(Get("/system/status")); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_TRUE(IsReady(Get("/system/status")));
    EXPECT_EQ(Store("ram.system.test.a", "x"), CONFIG_OK);
    EXPECT_EQ(GetOnce(kTest, R"({"a":"x","b":null,"c":null})"), R"({"a":"x","b":null,"c":null})");
}

TEST_F(SilentDatabase, ThatIsSentMoreThanTheBusKeepsForItIsCutOffAndJoinsAgain) {
    const std::string much(480000, 'x');
    m_unit.database().signal(SIGSTOP);

    // Some 10 MB: the bus holds the daemon up, and lets it go on when it has given the database up.
    for (int i = 10; i < 30; ++i) {
        EXPECT_EQ(Put("/example/test/static/x", R"({"abc": ")" + std::to_string(i) + much + "\"}"), 200);
    }
    m_unit.database().signal(SIGCONT);

    EXPECT_TRUE(m_unit.database().awaitOutput("the bus is gone: joining it again"));
    const OtherProgram other(m_unit);
    for (int i = 0; i < 1000 && Store("ram.system.test.a", "x") != CONFIG_OK; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(GetOnce(kTest, R"({"a":"x","b":null,"c":null})"), R"({"a":"x","b":null,"c":null})");
}

class FullDatabase : public DatabaseFaults {
  protected:
    static constexpr const char* kRules = "/system/debug/syslog-rules";
    static constexpr const char* kRule = R"({"selector": "kern.info", "action": "/var/log/extra"})";
    static constexpr const char* kAction = "cfg.api.syslog.1.action";
};

// A write is a signal on the bus, which nobody answers.
TEST_F(FullDatabase, KeepsServingAndWhatItCouldNotStoreIsKnownToTheDaemonOnly) {
    const OtherProgram other(m_unit);
    {
        const FullDisk full_disk(0, m_unit.database().pid());
        EXPECT_EQ(Post(kRules, kRule), 201);
        EXPECT_EQ(Put(kTest, R"({"a": "memory has room"})"), 200);
        EXPECT_EQ(StoredOnce("ram.system.test.a", "memory has room"), "memory has room");
        EXPECT_NE(Get(kRules), "[]");
    }

    EXPECT_EQ(Stored(kAction), "(no value)");
    m_unit.startDaemon();
    EXPECT_EQ(Get(kRules), "[]");
}

TEST_F(FullDatabase, StoresAgainWhenTheDiskHasRoom) {
    const OtherProgram other(m_unit);
    {
        const FullDisk full_disk(0, m_unit.database().pid());
        ASSERT_EQ(Post(kRules, kRule), 201);
    }

    EXPECT_EQ(Put(std::string(kRules) + "/1", kRule), 200);

    EXPECT_EQ(StoredOnce(kAction, "/var/log/extra"), "/var/log/extra");
    Kill(m_unit.database());
    m_unit.startDatabase();
    EXPECT_EQ(Stored(kAction), "/var/log/extra");
}

}  // namespace
