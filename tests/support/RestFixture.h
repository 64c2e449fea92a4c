// SPDX-License-Identifier: MIT

#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "src/http/HabSession.h"
#include "src/rest/BaseApiController.h"
#include "src/rpc/NotificationManager.h"
#include "src/rpc/RPCServer.h"
#include "tests/support/RecordingRequest.h"

#include "tests/support/RpcFakes.h"
#include "tests/support/WebConfiguration.h"

class EmptyController : public BaseApiController {
  public:
    using BaseApiController::BaseApiController;
    void init() override {}
};

// Client: a session with a JSON-RPC connection, whose notifications it keeps.
class Client {
  public:
    Client(const char* session_id, RPCServer& server, NotificationManager& notifications)
        : m_session(session_id), m_transport(&server), m_notifications(notifications) {
        m_transport.setSessionId(session_id);
        m_transport.setSessionNumberId(m_session.getNumberId());
        m_notifications.addTransport(&m_transport);
    }
    ~Client() { m_notifications.removeTransport(&m_transport); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    HabSession* session() { return &m_session; }
    [[nodiscard]] unsigned int number() const { return m_session.getNumberId(); }
    RecordingTransport& transport() { return m_transport; }

    // What it has been told, each as "Updated /api/a {"x":1}"; "-" stands for no data.
    [[nodiscard]] std::vector<std::string> told() const {
        std::vector<std::string> lines;
        for (const std::string& message : m_transport.texts()) {
            const JsonPtr json = parse(message);
            const cJSON* const params = cJSON_GetObjectItemCaseSensitive(json.get(), "params");
            const cJSON* const data = cJSON_GetObjectItemCaseSensitive(params, "data");
            const auto text = [](const cJSON* object, const char* name) {
                const char* const value =
                    cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(object, name));
                return std::string(value == nullptr ? "?" : value);
            };
            lines.push_back(text(json.get(), "method") + " " + text(params, "path") + " " +
                            (data == nullptr ? "-" : print_compact(data)));
        }
        return lines;
    }

  private:
    HabSessionImpl m_session;
    RecordingTransport m_transport;
    NotificationManager& m_notifications;
};

using Lines = std::vector<std::string>;

// RestFixture: the controller of "/api" with two clients, reached as the dispatcher reaches it.
class RestFixture : public ::testing::Test {
  protected:
    // What a request was answered.
    struct Answer {
        int status;
        std::string text;  // without blanks when it is JSON
        int count;         // of answers
    };

    // The body is the payload, put under "data"; null for no body.
    Answer send(const char* method, const std::string& uri, const char* payload, HabSession* session) {
        RecordingRequest request(method, uri.c_str(), session);
        if (payload != nullptr) {
            request.setBody((std::string("{\"data\":") + payload + "}").c_str());
        }
        m_controller.handleRequest(&request);
        const JsonPtr json = request.json();
        return {request.status(), json == nullptr ? request.text() : print_compact(json.get()),
                request.finishCount()};
    }
    Answer get(const std::string& uri) { return send("GET", uri, nullptr, m_first.session()); }
    Answer post(const std::string& uri, const char* payload = nullptr) {
        return send("POST", uri, payload, m_first.session());
    }
    Answer put(const std::string& uri, const char* payload = nullptr) {
        return send("PUT", uri, payload, m_first.session());
    }
    Answer remove(const std::string& uri) { return send("DELETE", uri, nullptr, m_first.session()); }

    // Subscribes to the resource at `path` ("/api/a").
    void subscribe(Client& client, const std::string& path, const char* payload = nullptr) {
        const Answer answer = send("POST", "/api/subscriptions" + path, payload, client.session());
        ASSERT_EQ(answer.status, 201) << path;
    }

    WebConfiguration m_configuration{"{}"};
    RPCServer m_server;
    NotificationManager m_notifications;
    EmptyController m_controller{nullptr, &m_notifications, nullptr, "/api"};
    Client m_first{"first", m_server, m_notifications};
    Client m_second{"second", m_server, m_notifications};
};
