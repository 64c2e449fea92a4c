#include <filesystem>

#include "UnitFixture.h"

// What the daemon does together with the other programs of the unit.

namespace {

constexpr const char* kWarning = "/system/user-events/oem-warning";
constexpr const char* kAlerts = "/system/user-events/alerts";
constexpr const char* kLog = "/system/user-events/log";

class WholeUnit : public UnitFixture {
  protected:
    void SetUp() override {
        m_unit.startBus();
        m_unit.startDatabase();
        m_eventd = &m_unit.startOther(EVENTD_PROGRAM);
        m_unit.startDaemon();
    }

    std::string File(const char* name) const { return m_unit.directory() / name; }

    static void SubscribeSystem(RpcClient& client, const std::string& path) {
        const JsonPtr answer = client.call("create", R"({"path": "/system/subscriptions)" + path + R"("})");
        ASSERT_EQ(Number(answer, {"result", "code"}), 201.0) << path;
    }
    // The states and numbers of the entries of a collection: "ON 5, OFF 5".
    std::string Entries(const char* collection) {
        const JsonPtr list(cJSON_Parse(Request("GET", collection).body.c_str()));
        std::string text;
        const cJSON* entry = nullptr;
        cJSON_ArrayForEach(entry, list.get()) {
            text += text.empty() ? "" : ", ";
            text += std::string(cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(entry, "state"))) +
                    " " + Compact(cJSON_GetObjectItemCaseSensitive(entry, "info"));
        }
        return text;
    }
    std::string EntriesOnce(const char* collection, const std::string& expected) {
        for (int i = 0; i < 1000 && Entries(collection) != expected; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return Entries(collection);
    }

    Program* m_eventd = nullptr;
};

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

// The commands are found on the daemon's PATH; these are scripts.
class Commands : public UnitFixture {
  protected:
    void SetUp() override {
        std::filesystem::create_directory(File("bin"));
        Script("ip", "echo \"$@\"; echo to stderr >&2; exit 3");
        Script("tcpdump", "trap 'exit 0' TERM; while :; do sleep 0.01; done");
        m_path = getenv("PATH");
        setenv("PATH", (File("bin") + ":" + m_path).c_str(), 1);
        UnitFixture::SetUp();
    }
    void TearDown() override {
        UnitFixture::TearDown();
        setenv("PATH", m_path.c_str(), 1);
    }

    std::string File(const std::string& name) const { return m_unit.directory() / name; }
    void Script(const std::string& name, const std::string& text) const {
        const std::string path = File("bin/" + name);
        std::ofstream(path) << "#!/bin/sh\n" << text << "\n";
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    }
    std::string Contents(const std::string& name) const {
        std::ifstream file(File(name));
        std::string line;
        std::getline(file, line);
        return line;
    }
    static constexpr const char* kCommands = "/system/oem/privileged-cmds";

    std::string m_path;
};

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
