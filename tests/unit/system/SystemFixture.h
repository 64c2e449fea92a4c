// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "events/EventManager.h"
#include "events/event_cbus_client.h"
#include "src/system/SystemApiController.h"
#include "tests/support/ConfigFixture.h"
#include "tests/support/RestFixture.h"

// SystemFixture: the controller of "/system" on a bus with a database, and one client with a session.
class SystemFixture : public ConfigFixture {
  protected:
    SystemFixture() {
        config_change_register("ram.", note_change, &m_heard_change);
        m_events.emInit();
        setEventConnection(m_bus.get());
    }
    ~SystemFixture() override {
        setEventConnection(nullptr);
        config_change_deregister("ram.", note_change, &m_heard_change);
    }

    // What a request was answered: the status, and the object without blanks.
    struct Answer {
        int status;
        std::string json;
        bool operator==(const Answer&) const = default;
    };

    Answer ask(const char* method, const char* uri, const std::string& body = {}) {
        RecordingRequest request(method, uri, m_client.session());
        request.setBody(body.c_str());
        m_controller.handleRequest(&request);
        return {request.status(), print_compact(request.json().get())};
    }
    Answer get(const char* uri) { return ask("GET", uri); }

    // One member of the object that a GET answers, printed; empty when there is none.
    std::string member(const char* uri, const char* name) {
        const JsonPtr object = parse(get(uri).json);
        const cJSON* const value = cJSON_GetObjectItemCaseSensitive(object.get(), name);
        return value == nullptr ? std::string() : print_compact(value);
    }

    void subscribe(const std::string& path, const char* data_include) {
        const Answer answer = ask("POST", ("/system/subscriptions" + path).c_str(),
                                  std::string(R"({"data":{"data_include":")") + data_include + R"("}})");
        ASSERT_EQ(answer.status, 201);
    }

    // Lets the resources hear of these keys as the database now has them; one message.
    void announceAndWait(const std::vector<std::string>& keys) {
        m_heard_change = false;
        m_database.announce(keys);
        ASSERT_TRUE(turnUntil([this] { return m_heard_change; }));
    }

    WebConfiguration m_configuration{"{}"};
    EventManager m_events{200};
    RPCServer m_server;
    NotificationManager m_notifications;
    SystemApiController m_controller{m_bus.get(), &m_notifications, m_loop.get()};
    Client m_client{"client", m_server, m_notifications};

  private:
    static void note_change(unsigned int, const config_data_t*, void* heard) {
        *static_cast<bool*>(heard) = true;
    }

    bool m_heard_change = false;
};
