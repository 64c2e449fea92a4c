// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "DebugFixture.h"

// SyslogFixture: the syslog rules and their keys.
class SyslogFixture : public DebugFixture {
  protected:
    static constexpr const char* kRules = "/system/debug/syslog-rules";

    // What a creation was answered: the JSON as it was sent.
    struct Created {
        int status;
        std::string json;
        std::string location;
        bool operator==(const Created&) const = default;
    };

    // "2.action" is "cfg.api.syslog.2.action".
    static std::string key(const std::string& end) { return "cfg.api.syslog." + end; }
    static std::string uri(const std::string& slot) { return std::string(kRules) + "/" + slot; }
    static std::string rule(int slot, const std::string& selector, const std::string& action) {
        return R"({"rule_id":)" + std::to_string(slot) + R"(,"selector":")" + selector + R"(","action":")" +
               action + R"("})";
    }

    std::string list() { return get(kRules).json; }
    Answer entry(const std::string& slot) { return get(uri(slot).c_str()); }

    // The payload goes under "data".
    Created createFrom(const std::string& payload) {
        RecordingRequest request("POST", kRules, m_client.session());
        request.setBody((R"({"data":)" + payload + "}").c_str());
        m_controller.handleRequest(&request);
        EXPECT_EQ(request.finishCount(), 1);
        return {request.status(), request.text(), request.location()};
    }
    // The words stand between quotation marks as they are.
    Created create(const std::string& selector, const std::string& action) {
        return createFrom(R"({"selector":")" + selector + R"(","action":")" + action + R"("})");
    }
    void createThree() {
        ASSERT_EQ(create("kern.info", "/a").status, 201);
        ASSERT_EQ(create("mail.info", "/b").status, 201);
        ASSERT_EQ(create("user.info", "/c").status, 201);
        settle();
    }
    // How many times a request is answered.
    int finishes(const char* method, const std::string& request_uri, const std::string& body) {
        RecordingRequest request(method, request_uri.c_str(), m_client.session());
        request.setBody(body.c_str());
        m_controller.handleRequest(&request);
        return request.finishCount();
    }
};
