// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "src/example/ExampleApiController.h"
#include "tests/support/ConfigFixture.h"
#include "tests/support/RestFixture.h"

// ExampleFixture: the controller of "/example" on a bus with a database, and two clients with sessions.
class ExampleFixture : public ConfigFixture {
  protected:
    ExampleFixture() {
        m_controller.init();
        config_change_register(kMarker, note_marker, &m_heard_marker);
    }
    ~ExampleFixture() override { config_change_deregister(kMarker, note_marker, &m_heard_marker); }

    // What a request was answered: the status, and the JSON without blanks.
    struct Answer {
        int status;
        std::string json;
        bool operator==(const Answer&) const = default;
    };

    Answer ask(const char* method, const std::string& uri, const std::string& body = {}) {
        return askAs(m_client, method, uri, body);
    }
    Answer get(const std::string& uri) { return ask("GET", uri); }
    // The payload goes under "data".
    int post(const std::string& uri, const std::string& payload) {
        return ask("POST", uri, R"({"data":)" + payload + "}").status;
    }
    int put(const std::string& uri, const std::string& payload) {
        return ask("PUT", uri, R"({"data":)" + payload + "}").status;
    }
    int remove(const std::string& uri) { return ask("DELETE", uri).status; }

    // Subscribes to the resource at `path` ("/example/test").
    int subscribe(Client& client, const std::string& path, const std::string& payload = "null") {
        return askAs(client, "POST", "/example/subscriptions" + path, R"({"data":)" + payload + "}").status;
    }

    // Lets the resources hear of these keys as the database now has them; one message.
    void announce(const std::vector<std::string>& keys) {
        m_database.announce(keys);
        settle();
    }
    // Lets the resources hear of these texts, whatever the database has; one message. Without a text: deleted.
    void report(const std::vector<std::pair<std::string, std::optional<std::string>>>& changes) {
        void* buffer = nullptr;
        size_t used = 0;
        for (const auto& [key, text] : changes) {
            used = config_vbuf_add(&buffer, used, nullptr, text ? CONFIG_TYPE_STRING : CONFIG_TYPE_NONE,
                                   key.c_str(), text ? text->c_str() : nullptr,
                                   text ? static_cast<uint32_t>(text->size() + 1) : 0, CONFIG_OK);
        }
        const Malloced<void> owner(buffer);
        m_database.sendSignal("config.change.ram", {static_cast<const char*>(buffer), used});
        settle();
    }
    // What was written has reached the database, and the resources have heard of what it changed.
    void settle() {
        waitForDatabase();
        m_heard_marker = false;
        m_database.announce({kMarker});
        ASSERT_TRUE(turnUntil([this] { return m_heard_marker; }));
    }

    // How many messages whose names begin so have reached the database.
    long sent(const std::string& name_prefix) {
        waitForDatabase();
        const std::vector<BusMessage> messages = m_database.messages();
        return std::count_if(messages.begin(), messages.end(), [&](const BusMessage& message) {
            return message.name.starts_with(name_prefix);
        });
    }
    // The bus goes away.
    void cutBus() { m_bus->client->close(m_bus.get()); }

    WebConfiguration m_configuration{"{}"};
    RPCServer m_server;
    NotificationManager m_notifications;
    ExampleApiController m_controller{m_bus.get(), &m_notifications, m_loop.get()};
    Client m_client{"client", m_server, m_notifications};
    Client m_other{"other", m_server, m_notifications};

  private:
    static constexpr const char* kMarker = "ram.marker";

    static Answer answerOf(RecordingRequest& request) {
        EXPECT_EQ(request.finishCount(), 1);
        EXPECT_EQ(request.location(), "");
        return {request.status(), print_compact(request.json().get())};
    }
    Answer askAs(Client& client, const char* method, const std::string& uri, const std::string& body) {
        RecordingRequest request(method, uri.c_str(), client.session());
        request.setBody(body.c_str());
        m_controller.handleRequest(&request);
        return answerOf(request);
    }
    static void note_marker(unsigned int, const config_data_t*, void* heard) {
        *static_cast<bool*>(heard) = true;
    }

    bool m_heard_marker = false;
};
