// SPDX-License-Identifier: MIT

#include "system_loads.h"

#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include "ApiClients.h"
#include "CommandScripts.h"
#include "json_answers.h"

namespace {

constexpr const char* kCommands = "commands";
constexpr const char* kWarnings = "warnings";
constexpr const char* kReports = "reports";
constexpr const char* kButton = "button";
constexpr int kLogEntries = 500;

constexpr const char* kCollection = "/system/oem/privileged-cmds";
constexpr const char* kWarning = "/system/user-events/oem-warning";
constexpr const char* kAlerts = "/system/user-events/alerts";
constexpr const char* kDebug = "/system/debug";

class Commands : public Load {
  public:
    explicit Commands(const Soak& soak)
        : m_soak(soak),
          m_connection(soak.unit, soak.tally, kCommands),
          m_output(soak.unit.directory() / "command.out") {
        m_connection.subscribe("/system/oem", "UPDATED", "true");
    }
    void step() override {
        runToItsEnd();
        endByDelete();
        m_connection.expectNothingTold();
    }
    void finish() override { m_connection.client().close(); }

  private:
    void runToItsEnd() {
        const std::string word = "round" + std::to_string(++m_round);
        const std::string path =
            m_connection.create(kCollection, R"({"command": "ip", "arguments": ["addr", " )" + word +
                                                 R"("], "stdout": ")" + m_output + "\"}");
        m_connection.expectTold("Updated " + path + R"( {"status":"EXITED","exitcode":3})");
        std::ifstream file(m_output);
        std::string line;
        std::getline(file, line);
        m_soak.tally.check(kCommands, "addr " + word, line);
        m_connection.expect("202", "delete", path);
        m_connection.expectTold("Deleted " + path + " -");
        m_connection.expect("404 Not Found", "read", path);
    }
    void endByDelete() {
        const std::string path = m_connection.create(kCollection, R"({"command": "tcpdump"})");
        m_connection.expect("202", "delete", path);
        m_connection.expectTold("Updated " + path + R"( {"status":"EXITED","exitcode":0})");
        m_connection.expectTold("Deleted " + path + " -");
        m_connection.expect("404 Not Found", "read", path);
    }

    Soak m_soak;
    ApiConnection m_connection;
    std::string m_output;
    long m_round = 0;
};

class Warnings : public Load {
  public:
    explicit Warnings(const Soak& soak)
        : m_soak(soak),
          m_connection(soak.unit, soak.tally, kWarnings),
          m_log(soak.unit, soak.tally, kWarnings) {
        m_connection.subscribe(kAlerts, "NONE", "true");
        m_log.subscribe("/system/user-events/log/new", "ALL");
    }
    void step() override {
        const std::string info = std::to_string(++m_info);
        m_connection.expect("200", "update", kWarning, R"({"state": "ON", "info": )" + info + "}");
        m_connection.expectTold(std::string("Created ") + kAlerts + "/66128 -");
        expectLogged("ON", info);
        m_connection.expect("200", "update", kWarning, R"({"state": "OFF"})");
        m_connection.expectTold(std::string("Deleted ") + kAlerts + "/66128 -");
        expectLogged("OFF", info);
        m_connection.expect("200 []", "read", kAlerts);
        m_connection.expectNothingTold();
        m_log.expectNothingTold();
    }
    void finish() override {
        m_connection.client().close();
        m_log.client().close();
    }

  private:
    void expectLogged(const std::string& state, const std::string& info) {
        const std::string told = m_log.told();
        const bool is_it = told.starts_with("Created /system/user-events/log/new ") &&
                           told.find(R"("state":")" + state + "\"") != std::string::npos &&
                           told.find(R"("info":)" + info + ",") != std::string::npos;
        m_soak.tally.check(kWarnings, state + " " + info, is_it ? state + " " + info : told);
    }

    Soak m_soak;
    ApiConnection m_connection;
    ApiConnection m_log;
    long m_info = 0;
};

class Reports : public Load {
  public:
    explicit Reports(const Soak& soak) : m_connection(soak.unit, soak.tally, kReports) {
        m_connection.subscribe(kDebug, "UPDATED");
    }
    void step() override {
        m_connection.expect("200", "update", kDebug, R"({"request": "DIAG_REPORT"})");
        // With the report of the round before, which is gone.
        m_connection.expectTold(std::string("Updated ") + kDebug +
                                (m_has_report ? R"( {"request":"DIAG_REPORT","diagnostic_report":null})"
                                              : R"( {"request":"DIAG_REPORT"})"));
        m_has_report = true;
        m_connection.expectTold(std::string("Updated ") + kDebug +
                                R"( {"request":"READY","diagnostic_report":"/tmp/diag_report.tar.gz"})");
        m_connection.expectNothingTold();
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    void finish() override { m_connection.client().close(); }

  private:
    ApiConnection m_connection;
    bool m_has_report = false;
};

class Button : public Load {
  public:
    explicit Button(const Soak& soak) : m_soak(soak), m_connection(soak.unit, soak.tally, kButton) {
        m_connection.call("read", "/system/status");
        m_connection.subscribe("/system/status", "ALL");
    }
    void step() override {
        m_soak.terminal.signal(SIGUSR1);
        awaitTold("RESET_BUTTON_PRESSED");
        m_soak.terminal.signal(SIGUSR2);
        awaitTold("RESET_BUTTON_RELEASED");
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    void finish() override { m_connection.client().close(); }

  private:
    // The terminal shows its start and its seconds beside the button, but nothing twice.
    void awaitTold(const std::string& state) {
        std::string told;
        do {
            told = m_connection.told();
            const std::string news = withoutTimes(told);
            if (news == m_last) {
                m_soak.tally.countDoubled(kButton, told);
            }
            m_last = news;
        } while (!told.empty() && told.find(state) == std::string::npos);
    }
    static std::string withoutTimes(const std::string& told) {
        const size_t time = told.find(R"("time":)");
        const size_t behind = told.find(R"("reset_pressed":)");
        return time == std::string::npos || behind == std::string::npos
                   ? told
                   : told.substr(0, time) + told.substr(behind);
    }

    Soak m_soak;
    ApiConnection m_connection;
    std::string m_last;
};

}  // namespace

void add_command_scripts(const CommandScripts& scripts) {
    scripts.add("ip", "echo \"$@\"; exit 3");
    scripts.add("tcpdump", "trap 'exit 0' TERM; while :; do sleep 0.01; done");
}

std::unique_ptr<Load> make_commands(const Soak& soak) {
    return std::make_unique<Commands>(soak);
}

std::unique_ptr<Load> make_warnings(const Soak& soak) {
    return std::make_unique<Warnings>(soak);
}

void fill_event_log(const Soak& soak) {
    Warnings warnings(soak);
    for (int i = 0; i < kLogEntries; i += 2) {
        warnings.step();
    }
}

std::unique_ptr<Load> make_reports(const Soak& soak) {
    return std::make_unique<Reports>(soak);
}

std::unique_ptr<Load> make_button(const Soak& soak) {
    return std::make_unique<Button>(soak);
}
