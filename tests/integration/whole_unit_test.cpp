// SPDX-License-Identifier: MIT

#include "CommandsUnit.h"
#include "EventsUnit.h"

// What the daemon does together with the other programs of the unit.

namespace {

class WholeUnit : public EventsUnit {
  protected:
    std::string File(const char* name) const { return m_unit.directory() / name; }

    static void SubscribeSystem(RpcClient& client, const std::string& path) {
        const JsonPtr answer = client.call("create", R"({"path": "/system/subscriptions)" + path + R"("})");
        ASSERT_EQ(Number(answer, {"result", "code"}), 201.0) << path;
    }
};

class Commands : public CommandsUnit {};

}  // namespace

TEST_F(WholeUnit, ARaisedWarningIsAnAlertUntilItIsCleared) {
    EXPECT_EQ(Put(kWarning, R"({"state": "ON", "info": 5})"), 200);
    EXPECT_EQ(EntriesOnce(kAlerts, "ON 5"), "ON 5");
    EXPECT_EQ(Put(kWarning, R"({"state": "ON", "info": 5})"), 409);

    EXPECT_EQ(Put(kWarning, R"({"state": "OFF"})"), 200);

    EXPECT_EQ(EntriesOnce(kAlerts, ""), "");
    EXPECT_EQ(EntriesOnce(kLog, "ON 5, OFF 5"), "ON 5, OFF 5");
}

TEST_F(WholeUnit, SubscribersHearOfAlertsAndOfTheLog) {
    RpcClient alerts = m_unit.rpc();
    RpcClient log = m_unit.rpc();
    SubscribeSystem(alerts, std::string(kAlerts) + "/new");
    SubscribeSystem(alerts, kAlerts);
    SubscribeSystem(log, std::string(kLog) + "/new");

    Put(kWarning, R"({"state": "ON", "info": 7})");

    EXPECT_NE(Told(alerts).find("Created /system/user-events/alerts/66128 "), std::string::npos);
    EXPECT_NE(Told(log).find(R"(Created /system/user-events/log/new {"ev_id":66128,"state":"ON",)"),
              std::string::npos);
}

TEST_F(WholeUnit, ARestartedDaemonKnowsTheEventsOfTheUnit) {
    Put(kWarning, R"({"state": "ON", "info": 5})");
    ASSERT_EQ(EntriesOnce(kAlerts, "ON 5"), "ON 5");

    m_unit.startDaemon();

    EXPECT_EQ(Entries(kAlerts), "ON 5");
    EXPECT_EQ(Entries(kLog), "ON 5");
    EXPECT_EQ(Text(JsonPtr(cJSON_Parse(Request("GET", kWarning).body.c_str())), {"state"}), "OFF");
}

TEST_F(WholeUnit, AReportIsMadeAndAnnounced) {
    m_unit.startOther(DIAGD_PROGRAM, {"-o", m_unit.directory()});
    RpcClient client = m_unit.rpc();
    SubscribeSystem(client, "/system/debug");

    EXPECT_EQ(Put("/system/debug", R"({"request": "DIAG_REPORT"})"), 200);

    EXPECT_NE(Told(client).find(R"("request":"DIAG_REPORT","diagnostic_report":null)"), std::string::npos);
    EXPECT_NE(Told(client).find(R"("request":"READY","diagnostic_report":"/tmp/diag_report.tar.gz")"),
              std::string::npos);
    EXPECT_GT(std::filesystem::file_size(File("diag_report.tar.gz")), 0U);
}

TEST_F(WholeUnit, TheSwitchesAreMarkerFiles) {
    EXPECT_EQ(Put("/system/debug", R"({"prevent_reboot": true})"), 200);
    EXPECT_TRUE(std::filesystem::exists(File("debug.no_reboot")));
    EXPECT_NE(Get("/system/debug").find(R"("prevent_reboot":true,"watchdog_disable":false)"),
              std::string::npos);

    EXPECT_EQ(Put("/system/debug", R"({"prevent_reboot": false})"), 200);
    EXPECT_FALSE(std::filesystem::exists(File("debug.no_reboot")));
}

TEST_F(WholeUnit, SyslogRulesAreKeptInThreeSlots) {
    const std::string rules = "/system/debug/syslog-rules";
    const std::string payload = R"({"selector": "kern.info", "action": "/var/log/extra"})";

    EXPECT_EQ(CreatedPath(rules, payload), rules + "/1");
    EXPECT_EQ(Post(rules, payload), 201);
    EXPECT_EQ(Post(rules, payload), 201);
    EXPECT_EQ(Post(rules, payload), 409);
    EXPECT_EQ(Get(rules + "/3"),
              R"({"rule_id":3,"selector":"kern.info;authpriv.none","action":"/var/log/extra"})");
    EXPECT_EQ(Post(rules, R"({"selector": "kern info", "action": "x"})"), 400);

    EXPECT_EQ(Delete(rules + "/2"), 200);
    GetOnce(rules + "/2", "");
    EXPECT_EQ(CreatedPath(rules, payload), rules + "/2");
}

TEST_F(WholeUnit, TheTerminalComesUp) {
    m_unit.startOther(TERMINALD_PROGRAM, {"--speed", "100"});

    for (int i = 0; i < 1000 && Get("/system/status").find("\"READY\"") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    EXPECT_NE(Get("/system/status").find("\"system_status\":\"READY\""), std::string::npos);
}

TEST_F(WholeUnit, AButtonThatIsPressedShows) {
    Program& terminal = m_unit.startOther(TERMINALD_PROGRAM);
    terminal.signal(SIGUSR1);

    for (int i = 0; i < 1000 && Get("/system/status").find("PRESSED\"") == std::string::npos; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }

    EXPECT_NE(Get("/system/status").find("\"reset_pressed\":\"RESET_BUTTON_PRESSED\""), std::string::npos);
}

TEST_F(Commands, ACommandLeavesItsOutputAndItsExitCode) {
    const std::string payload =
        R"({"command": "ip", "arguments": ["addr", " show"], "stdout": ")" + File("out") + "\"}";
    EXPECT_EQ(CreatedPath(kCommands, payload), std::string(kCommands) + "/1");

    const std::string ended = R"({"cmd_id":1,"status":"EXITED","command":"ip","arguments":["addr"," show"],)"
                              R"("stdin":"","stdout":")" +
                              File("out") + R"(","stderr":"","exitcode":3})";
    EXPECT_EQ(GetOnce(std::string(kCommands) + "/1", ended), ended);
    EXPECT_EQ(Contents("out"), "addr show");
}

TEST_F(Commands, ACommandThatIsNotOnTheListIsRefused) {
    EXPECT_EQ(Post(kCommands, R"({"command": "sh"})"), 400);
    EXPECT_EQ(Get(kCommands), "[]");
}

TEST_F(Commands, ARunningCommandIsEndedByItsDeleteAndTold) {
    RpcClient client = m_unit.rpc();
    const JsonPtr subscribed = client.call(
        "create",
        R"({"path": "/system/subscriptions/system/oem", "data": {"recursive": true, "data_include": "UPDATED"}})");
    ASSERT_EQ(Number(subscribed, {"result", "code"}), 201.0);
    ASSERT_EQ(Post(kCommands, R"({"command": "tcpdump"})"), 201);

    EXPECT_EQ(Delete(std::string(kCommands) + "/1"), 202);

    EXPECT_EQ(Told(client), R"(Updated /system/oem/privileged-cmds/1 {"status":"EXITED","exitcode":0})");
    EXPECT_EQ(Told(client), "Deleted /system/oem/privileged-cmds/1 -");
    EXPECT_EQ(Get(kCommands), "[]");
}
