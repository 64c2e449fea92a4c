// SPDX-License-Identifier: MIT

#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "UnitFixture.h"
#include "tests/support/ServiceManager.h"

// What a service manager hears of the daemon that it has started.

namespace {

UniqueFd Listener(int port) {
    UniqueFd listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    const bool is_listening =
        bind(listener.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        listen(listener.get(), 1) == 0;
    return is_listening ? std::move(listener) : UniqueFd();
}

class ManagedDaemon : public UnitFixture {
  protected:
    void SetUp() override {
        m_unit.startBus();
        m_unit.startDatabase();
    }
    void TearDown() override {}

    void StartDaemon(const std::map<std::string, std::string>& more = {}) {
        std::map<std::string, std::string> environment{{"CBUS_ADDR", m_unit.busAddress()},
                                                       {"MRV_JSON_RPC_TEST", "1"},
                                                       {"NOTIFY_SOCKET", m_notify_address}};
        environment.insert(more.begin(), more.end());
        m_daemon = std::make_unique<Program>(WEB_APP_PROGRAM,
                                             std::vector<std::string>{"-c", m_unit.directory().string()},
                                             environment, m_unit.directory() / "web_app.log");
    }
    void EndDaemon(int signal) {
        AwaitAsleep(m_daemon->pid());
        m_daemon->signal(signal);
    }
    // Whether the watchdog hears nothing for ten of its periods, once within ten seconds.
    bool AwaitSilence() {
        for (int silent_ms = 0, waited_ms = 0; waited_ms < 10000; ++silent_ms, ++waited_ms) {
            if (silent_ms >= 10 * kPeriodMs) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (!m_manager.Hear().empty()) {
                silent_ms = 0;
            }
        }
        return false;
    }

    static constexpr int kPeriodMs = 20;
    const std::map<std::string, std::string> m_watched{{"WATCHDOG_USEC", std::to_string(2000 * kPeriodMs)}};
    std::string m_notify_address = "@" + m_unit.directory().filename().string() + "-manager";
    ServiceManager m_manager{m_notify_address};
    std::unique_ptr<Program> m_daemon;
};

TEST_F(ManagedDaemon, ServesOnBothSocketsWhenItSaysThatItIsReady) {
    StartDaemon();

    ASSERT_EQ(m_manager.Await(), "READY=1");

    EXPECT_TRUE(m_unit.http().connected());
    EXPECT_TRUE(m_unit.rpc().connected());
    EXPECT_EQ(Request("GET", "/system/info").status, 200);
    EXPECT_EQ(m_manager.Hear(), "");
}

TEST_F(ManagedDaemon, IsNotReadyWhileItsPortIsTaken) {
    const UniqueFd taken = Listener(m_unit.port());
    ASSERT_TRUE(taken.valid());

    StartDaemon();
    // Of its sockets this is the first; from then on it has nothing to do but to complain every five seconds.
    for (int i = 0; i < 1000 && !m_unit.rpc().connected(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_TRUE(m_unit.rpc().connected());
    AwaitAsleep(m_daemon->pid());

    EXPECT_EQ(m_manager.Hear(), "");
}

TEST_F(ManagedDaemon, WithoutABusIsNeverReady) {
    m_unit.bus().signal(SIGKILL);
    ASSERT_TRUE(m_unit.bus().awaitEnd().has_value());

    StartDaemon();

    ASSERT_TRUE(m_daemon->awaitEnd().has_value());
    EXPECT_EQ(m_manager.Hear(), "");
}

TEST_F(ManagedDaemon, TellsTheWatchdogAgainAndAgainThatItsLoopTurns) {
    StartDaemon(m_watched);
    ASSERT_EQ(m_manager.Await(), "READY=1");

    EXPECT_EQ(m_manager.Await(), "WATCHDOG=1");
    EXPECT_EQ(m_manager.Await(), "WATCHDOG=1");
}

TEST_F(ManagedDaemon, TellsTheWatchdogNothingWhileItWaitsForTheDatabase) {
    StartDaemon(m_watched);
    ASSERT_EQ(m_manager.Await(), "READY=1");
    m_unit.database().signal(SIGSTOP);
    HttpClient client = m_unit.http();
    client.send("GET /system/status HTTP/1.1\r\nHost: unit\r\nAccept: application/json\r\n\r\n");

    EXPECT_TRUE(AwaitSilence());

    m_unit.database().signal(SIGCONT);
    EXPECT_EQ(client.receive().status, 200);
    EXPECT_EQ(m_manager.Await(), "WATCHDOG=1");
}

TEST_F(ManagedDaemon, TellsTheWatchdogNothingWhenItHasLostItsBus) {
    StartDaemon(m_watched);
    ASSERT_EQ(m_manager.Await(), "READY=1");
    ASSERT_EQ(m_manager.Await(), "WATCHDOG=1");

    m_unit.bus().signal(SIGKILL);

    EXPECT_TRUE(AwaitSilence());
    EXPECT_EQ(Request("GET", "/system/info").status, 200);
}

class EndedDaemon : public ManagedDaemon, public testing::WithParamInterface<int> {};

TEST_P(EndedDaemon, SaysThatItEndsAndEndsWithStatusOne) {
    StartDaemon();
    ASSERT_EQ(m_manager.Await(), "READY=1");

    EndDaemon(GetParam());

    EXPECT_EQ(m_manager.Await(), "STOPPING=1");
    const int status = m_daemon->awaitEnd().value_or(0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1);
    EXPECT_EQ(m_manager.Hear(), "");
}

INSTANTIATE_TEST_SUITE_P(By, EndedDaemon, testing::Values(SIGTERM, SIGINT),
                         [](const auto& signal) { return std::string("SIG") + sigabbrev_np(signal.param); });

// The end of a child is not that of the daemon.
TEST_F(ManagedDaemon, SaysNothingOfTheEndOfAPrivilegedCommand) {
    StartDaemon({{"PATH", m_unit.directory().string()}});
    ASSERT_EQ(m_manager.Await(), "READY=1");

    ASSERT_EQ(Post("/system/oem/privileged-cmds", R"({"command": "dnslookup"})"), 201);
    for (int i = 0; i < 1000 && Get("/system/oem/privileged-cmds/1").find("EXITED") == std::string::npos;
         ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    EXPECT_NE(Get("/system/oem/privileged-cmds/1").find("EXITED"), std::string::npos);
    EXPECT_EQ(m_manager.Hear(), "");
}

}  // namespace
