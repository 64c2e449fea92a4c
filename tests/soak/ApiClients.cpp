// SPDX-License-Identifier: MIT

#include "ApiClients.h"

#include <utility>

#include "json_answers.h"

WebClient::WebClient(const RunningUnit& unit, Tally& tally, std::string kind, Connection connection,
                     Cookie cookie)
    : m_unit(unit), m_tally(tally), m_kind(std::move(kind)), m_connection(connection), m_cookie_use(cookie) {}

HttpResponse WebClient::ask(const std::string& method, const std::string& target,
                            const std::string& payload) {
    if (!m_client) {
        m_client.emplace(m_unit.port());
    }
    std::vector<std::string> headers{"Accept: application/json"};
    if (m_connection == Connection::kOnePerRequest) {
        headers.emplace_back("Connection: close");
    }
    if (!m_cookie.empty()) {
        headers.push_back("Cookie: " + m_cookie);
    }
    const std::string body = payload.empty() ? "" : R"({"data": )" + payload + "}";
    HttpResponse response = m_client->request(method, target, body, headers);
    const std::string given = response.header("Set-Cookie");
    if (m_cookie_use == Cookie::kSentBack && !given.empty()) {
        m_cookie = given.substr(0, given.find(';'));
    }
    if (response.status == 0 || m_connection == Connection::kOnePerRequest) {
        m_client.reset();
    }
    return response;
}

void WebClient::expect(int status, const std::string& method, const std::string& target,
                       const std::string& payload) {
    const std::string request = method + " " + target + " ";
    m_tally.check(m_kind, request + std::to_string(status),
                  request + std::to_string(ask(method, target, payload).status));
}

void WebClient::expectJson(const std::string& expected, const std::string& target) {
    const HttpResponse response = ask("GET", target);
    m_tally.check(m_kind, target + " 200 " + expected,
                  target + " " + std::to_string(response.status) + " " +
                      Compact(JsonPtr(cJSON_Parse(response.body.c_str())).get()));
}

std::string WebClient::read(const std::string& target) {
    const HttpResponse response = ask("GET", target);
    m_tally.check(m_kind, target + " 200", target + " " + std::to_string(response.status));
    return Compact(JsonPtr(cJSON_Parse(response.body.c_str())).get());
}

ApiConnection::ApiConnection(const RunningUnit& unit, Tally& tally, std::string kind)
    : m_tally(tally), m_kind(std::move(kind)), m_client(unit.rpcSocket()) {}

JsonPtr ApiConnection::answer() {
    for (;;) {
        JsonPtr message = m_client.receive();
        if (message == nullptr || Member(message, {"method"}) == nullptr) {
            return message;
        }
        m_told.push_back(NotificationText(message));
    }
}

std::string ApiConnection::call(const std::string& method, const std::string& path, const std::string& data) {
    const std::string payload = data.empty() ? "" : R"(, "data": )" + data;
    m_client.send(R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": {"path": ")" + path + "\"" +
                  payload + R"(}, "id": 1})");
    const JsonPtr message = answer();
    if (message == nullptr) {
        return "no answer";
    }
    if (Member(message, {"error"}) != nullptr) {
        return Compact(Member(message, {"error", "code"})) + " " + Text(message, {"error", "message"});
    }
    const cJSON* const result = Member(message, {"result", "data"});
    return Compact(Member(message, {"result", "code"})) + (result == nullptr ? "" : " " + Compact(result));
}

void ApiConnection::expect(const std::string& answer, const std::string& method, const std::string& path,
                           const std::string& data) {
    const std::string request = method + " " + path + " ";
    m_tally.check(m_kind, request + answer, request + call(method, path, data));
}

std::string ApiConnection::create(const std::string& path, const std::string& data) {
    m_client.send(R"({"jsonrpc": "2.0", "method": "create", "params": {"path": ")" + path + R"(", "data": )" +
                  data + R"(}, "id": 1})");
    const JsonPtr message = answer();
    m_tally.check(m_kind, "create " + path + " 201",
                  "create " + path + " " + Compact(Member(message, {"result", "code"})));
    return Text(message, {"result", "path"});
}

void ApiConnection::subscribe(const std::string& path, const std::string& include,
                              const std::string& recursive) {
    const std::string tree = path.substr(0, path.find('/', 1));
    create(tree + "/subscriptions" + path,
           R"({"data_include": ")" + include + R"(", "recursive": )" + recursive + "}");
}

std::string ApiConnection::told() {
    if (m_told.empty()) {
        const JsonPtr message = m_client.receive();
        if (message == nullptr) {
            m_tally.countLost(m_kind, 1, "nothing was told");
            return {};
        }
        m_told.push_back(NotificationText(message));
    }
    m_tally.countNotified();
    std::string text = std::move(m_told.front());
    m_told.pop_front();
    return text;
}

void ApiConnection::expectTold(const std::string& expected) {
    const std::string text = told();
    if (!text.empty() && text != expected) {
        m_tally.countError(m_kind, "expected to be told " + expected + ", was told " + text);
    }
}

void ApiConnection::expectNothingTold() {
    while (hasTold() || m_client.hasArrived()) {
        m_tally.countDoubled(m_kind, told());
    }
}
