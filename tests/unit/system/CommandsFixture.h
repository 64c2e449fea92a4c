// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FailingCalls.h"
#include "ProcessLoop.h"
#include "StubPrograms.h"
#include "src/system/PrivilegedCommandsPathHandler.h"
#include "tests/support/RestFixture.h"

// Shows the outcome that no runner has.
class Commands : public PrivilegedCommandsPathHandler {
  public:
    using PrivilegedCommandsPathHandler::noteStart;
    using PrivilegedCommandsPathHandler::PrivilegedCommandsPathHandler;
};

// CommandsFixture: the commands at their place below "/system", with stub programs to run and a client with a session.
class CommandsFixture : public testing::Test {
  protected:
    static constexpr const char* kUri = "/system/oem/privileged-cmds";

    // What a request was answered; the JSON without blanks.
    struct Answer {
        int status;
        std::string json;
        std::string location;
        bool operator==(const Answer&) const = default;
    };

    CommandsFixture() {
        m_controller.addPathHandler("oem", m_oem);
        m_oem->addSubPathHandler("privileged-cmds", m_commands);
    }
    // Nothing that a test has started outlives it.
    ~CommandsFixture() override {
        const auto is_running = [] {
            siginfo_t ended{};
            return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) == 0;
        };
        for (int id = 1; is_running() && id < 100; ++id) {
            m_programs.open();
        }
        EXPECT_TRUE(m_loop.turnUntil([&] { return !is_running(); }));
    }

    Answer ask(const char* method, const std::string& uri, const std::string& body = {}) {
        RecordingRequest request(method, uri.c_str(), m_client.session());
        request.setBody(body.c_str());
        m_controller.handleRequest(&request);
        EXPECT_EQ(request.finishCount(), 1);
        m_text = request.text();
        return {request.status(), print_compact(request.json().get()), request.location()};
    }
    Answer create(const std::string& payload) { return ask("POST", kUri, R"({"data":)" + payload + "}"); }
    // Starts the stub "ip", and answers the status.
    int createIp() { return create(R"({"command":"ip"})").status; }
    Answer list() { return ask("GET", kUri); }
    Answer read(const std::string& id) { return ask("GET", std::string(kUri) + "/" + id); }
    int remove(const std::string& id) { return ask("DELETE", std::string(kUri) + "/" + id).status; }

    void subscribe(const std::string& end, const char* payload = "null") {
        const std::string uri = "/system/subscriptions" + std::string(kUri) + end;
        ASSERT_EQ(ask("POST", uri, std::string(R"({"data":)") + payload + "}").status, 201);
    }

    // Whether the entry shows, sooner or later, that its program has ended.
    bool ends(const std::string& id) {
        return m_loop.turnUntil(
            [&] { return read(id).json.find(R"("status":"EXITED")") != std::string::npos; });
    }
    bool vanishes(const std::string& id) {
        return m_loop.turnUntil([&] { return read(id).status == 404; });
    }

    // An entry of "ip" without arguments.
    static std::string ipEntry(int id, const std::string& status, int exitcode) {
        return R"({"cmd_id":)" + std::to_string(id) + R"(,"status":")" + status +
               R"(","command":"ip","arguments":[],"stdin":"","stdout":"","stderr":"","exitcode":)" +
               std::to_string(exitcode) + "}";
    }

    WebConfiguration m_configuration{"{}"};
    RPCServer m_server;
    NotificationManager m_notifications;
    StubPrograms m_programs;
    ProcessLoop m_loop;
    EmptyController m_controller{nullptr, &m_notifications, nullptr, "/system"};
    BasePathHandler* m_oem = new BasePathHandler;
    Commands* m_commands = new Commands(m_loop.handle());
    Client m_client{"client", m_server, m_notifications};
    std::string m_text;  // of the last answer
};
