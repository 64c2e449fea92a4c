// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <initializer_list>
#include <string>
#include <thread>

#include "gtest/gtest.h"

#include "OtherProgram.h"
#include "RunningUnit.h"
#include "json_answers.h"

// UnitFixture: the real unit, and what tests say to it over HTTP and JSON-RPC. JSON is compared as text without
// blanks.
class UnitFixture : public testing::Test {
  protected:
    void SetUp() override { m_unit.start(); }
    // Whatever a test did to it, the daemon has to serve, and at its end a sanitizer has found nothing.
    void TearDown() override {
        AwaitTaken();
        AwaitAsleep(m_unit.daemon().pid());
        m_unit.daemon().signal(SIGTERM);
        static_cast<void>(m_unit.daemon().awaitEnd());
        EXPECT_EQ(m_unit.daemon().output().find("Sanitizer"), std::string::npos) << m_unit.daemon().output();
    }
    // The signal that ends a daemon ends it where it stands: found while it allocates, it would stay in the leak
    // check of a sanitizer build for ever.
    static void AwaitAsleep(pid_t daemon) {
        for (int i = 0; i < 1000; ++i) {
            std::ifstream file("/proc/" + std::to_string(daemon) + "/stat");
            std::string stat;
            std::getline(file, stat);
            if (stat.find(") R ") == std::string::npos) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    // HTTP, a connection for each request.
    HttpResponse Request(const std::string& method, const std::string& target,
                         const std::string& payload = {}) {
        const std::string body = payload.empty() ? "" : R"({"data": )" + payload + "}";
        return m_unit.http().request(method, target, body, {"Accept: application/json"});
    }
    int Put(const std::string& target, const std::string& payload) {
        return Request("PUT", target, payload).status;
    }
    int Post(const std::string& target, const std::string& payload) {
        return Request("POST", target, payload).status;
    }
    int Delete(const std::string& target) { return Request("DELETE", target).status; }
    std::string Get(const std::string& target) {
        return Compact(JsonPtr(cJSON_Parse(Request("GET", target).body.c_str())).get());
    }
    // Asks until the answer is this one, ten seconds at most; answers the last one.
    std::string GetOnce(const std::string& target, const std::string& expected) {
        std::string answer = Get(target);
        for (int i = 0; answer != expected && i < 1000; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            answer = Get(target);
        }
        return answer;
    }
    // Returns when the daemon has read what was sent before: the answer to a client that came later takes it a turn of
    // its loop more.
    void AwaitTaken() { EXPECT_EQ(Request("GET", "/system/info").status, 200); }

    // JSON-RPC: the whole answer to a call, and to a whole message.
    static std::string Call(RpcClient& client, const std::string& method, const std::string& params) {
        return Compact(client.call(method, params).get());
    }
    static std::string Ask(RpcClient& client, const std::string& message) {
        client.send(message);
        return Compact(client.receive().get());
    }
    // Where a created resource is; HTTP does not tell.
    std::string CreatedPath(const std::string& target, const std::string& payload) {
        RpcClient client = m_unit.rpc();
        return Text(client.call("create", R"({"path": ")" + target + R"(", "data": )" + payload + "}"),
                    {"result", "path"});
    }
    static void Subscribe(RpcClient& client, const std::string& path, const std::string& payload) {
        const JsonPtr answer = client.call(
            "create", R"({"path": "/example/subscriptions)" + path + R"(", "data": )" + payload + "}");
        ASSERT_EQ(Number(answer, {"result", "code"}), 201.0) << path;
    }
    // The next notification as "Updated /path {"data":1}", "-" for no data.
    static std::string Told(RpcClient& client) { return NotificationText(client.receive()); }

    RunningUnit m_unit;
};
