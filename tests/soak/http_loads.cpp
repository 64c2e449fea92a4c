// SPDX-License-Identifier: MIT

#include "http_loads.h"

#include <string>

#include "ApiClients.h"
#include "json_answers.h"

namespace {

constexpr const char* kKept = "HTTP, kept";
constexpr const char* kFresh = "HTTP, fresh";
constexpr const char* kPipelined = "HTTP, pipelined";
constexpr int kAtOnce = 8;

// The members of a resource, as "a,b,c", whatever their values.
std::string members(const std::string& json) {
    const JsonPtr object(cJSON_Parse(json.c_str()));
    std::string names;
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, object.get()) {
        names += (names.empty() ? "" : ",") + std::string(member->string == nullptr ? "" : member->string);
    }
    return names;
}

class KeptHttp : public Load {
  public:
    explicit KeptHttp(const Soak& soak)
        : m_soak(soak),
          m_client(soak.unit, soak.tally, kKept, WebClient::Connection::kKept, WebClient::Cookie::kSentBack),
          m_info(m_client.read("/system/info")) {}
    void step() override {
        m_client.expectJson(m_info, "/system/info");
        expectMembers("system_status,time,uptime,reset_pressed,reset_pressed_seconds", "/system/status");
        expectMembers("a,b,c", "/example/test");
        expectMembers("ev_id,state,severity,info,ev_time,on_time", "/system/user-events/oem-warning");
        m_client.expect(200, "GET", "/system/user-events/log");
        m_client.expectJson("[]", "/system/debug/post");
        m_client.expect(404, "GET", "/nowhere");
        m_client.expect(405, "PUT", "/system/info", "{}");
        m_client.expect(400, "PUT", "/example/test", R"({"c": "no number"})");
        writeAndRead();
        subscribe();
    }
    void finish() override { m_client.close(); }

  private:
    void expectMembers(const std::string& names, const std::string& target) {
        m_soak.tally.check(kKept, names, members(m_client.read(target)));
    }
    void writeAndRead() {
        const std::string value = std::to_string(++m_value);
        m_client.expect(200, "PUT", "/system/info/oem-snmp", R"({"sys_name": ")" + value + R"("})");
        const JsonPtr snmp(cJSON_Parse(m_client.read("/system/info/oem-snmp").c_str()));
        m_soak.tally.check(kKept, value, Text(snmp, {"sys_name"}));
        // An entry of a collection is what the database has last told of it.
        m_client.expect(200, "PUT", "/example/test/static/x", R"({"abc": ")" + value + R"("})");
        await_echo(m_soak, kKept);
        m_client.expectJson(R"({"id":"x","abc":")" + value + R"(","def":null})", "/example/test/static/x");
    }
    void subscribe() {
        m_client.expect(201, "POST", "/system/subscriptions/system/status", R"({"recursive": true})");
        m_client.expect(409, "POST", "/system/subscriptions/system/status");
        m_client.expectJson(R"([{"api_path":"/system/status","recursive":true,"data_include":"ALL"}])",
                            "/system/subscriptions");
        m_client.expect(200, "DELETE", "/system/subscriptions");
        m_client.expectJson("[]", "/system/subscriptions");
    }

    Soak m_soak;
    WebClient m_client;
    std::string m_info;
    long m_value = 0;
};

class FreshHttp : public Load {
  public:
    explicit FreshHttp(const Soak& soak)
        : m_soak(soak),
          m_client(soak.unit, soak.tally, kFresh, WebClient::Connection::kOnePerRequest,
                   WebClient::Cookie::kForgotten),
          m_info(m_client.read("/system/info")) {}
    void step() override {
        m_client.expectJson(m_info, "/system/info");
        m_client.expectJson("[]", "/system/subscriptions");
        m_client.expect(404, "HEAD", "/system/info");
        m_client.expect(501, "PATCH", "/system/info");
        const HttpResponse answer = m_client.ask("GET", "/system/status");
        m_soak.tally.check(kFresh, "200, a cookie, closed",
                           std::to_string(answer.status) +
                               (answer.header("Set-Cookie").starts_with("DRHABSESSID=") ? ", a cookie" : "") +
                               (answer.header("Connection") == "close" ? ", closed" : ""));
    }

  private:
    Soak m_soak;
    WebClient m_client;
    std::string m_info;
};

class PipelinedHttp : public Load {
  public:
    explicit PipelinedHttp(const Soak& soak) : m_soak(soak), m_client(soak.unit.http()) {}
    void step() override {
        std::string requests;
        for (int i = 0; i < kAtOnce; ++i) {
            requests += std::string("GET ") + (isError(i) ? "/nowhere" : "/system/info") +
                        " HTTP/1.1\r\nHost: localhost\r\nAccept: application/json\r\n\r\n";
        }
        m_client.send(requests);
        for (int i = 0; i < kAtOnce; ++i) {
            m_soak.tally.check(kPipelined, isError(i) ? "404" : "200",
                               std::to_string(m_client.receive().status));
        }
    }
    void finish() override { m_client.close(); }

  private:
    static bool isError(int i) { return i % 3 == 1; }

    Soak m_soak;
    HttpClient m_client;
};

}  // namespace

std::unique_ptr<Load> make_kept_http(const Soak& soak) {
    return std::make_unique<KeptHttp>(soak);
}

std::unique_ptr<Load> make_fresh_http(const Soak& soak) {
    return std::make_unique<FreshHttp>(soak);
}

std::unique_ptr<Load> make_pipelined_http(const Soak& soak) {
    return std::make_unique<PipelinedHttp>(soak);
}
