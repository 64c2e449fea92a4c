// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "UnitFixture.h"
#include "cbus/socket_helpers.h"
#include "tests/support/BusPeer.h"

// FaultFixture: a unit whose other programs fail, also while a request is under way.
class FaultFixture : public UnitFixture {
  protected:
    static void Kill(Program& program) {
        program.signal(SIGKILL);
        ASSERT_TRUE(program.awaitEnd().has_value());
    }

    // Sends a request whose answer is to be received later.
    HttpClient BeginGet(const std::string& target) {
        HttpClient client = m_unit.http();
        client.send("GET " + target + " HTTP/1.1\r\nHost: unit\r\nAccept: application/json\r\n\r\n");
        return client;
    }
    // The same for a resource that asks the database: returns when the bus has the question.
    HttpClient BeginGetOfStored(const std::string& target) {
        const double before = MessagesOfDaemon();
        HttpClient client = BeginGet(target);
        for (int i = 0; i < 1000 && MessagesOfDaemon() == before; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_GT(MessagesOfDaemon(), before);
        return client;
    }
    // "200 {...}"; what is null stays.
    static std::string Received(HttpClient& client) {
        const HttpResponse response = client.receive();
        return std::to_string(response.status) + " " +
               Compact(JsonPtr(cJSON_Parse(response.body.c_str())).get());
    }

    // Stored when this returns.
    static int Store(const char* key, const char* text) {
        config_data_t element{CONFIG_TYPE_STRING, key, const_cast<char*>(text), 0, 0, CONFIG_NO_REPLY};
        return config_modifyv(nullptr, 1, &element);
    }
    static std::string Stored(const char* key) {
        char text[256];
        return config_read_string(key, text, sizeof text) == CONFIG_OK ? text : "(no value)";
    }
    static std::string StoredOnce(const char* key, const std::string& expected) {
        for (int i = 0; i < 1000 && Stored(key) != expected; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return Stored(key);
    }

  private:
    // How many messages the bus has had of it.
    double MessagesOfDaemon() {
        BusPeer peer(UniqueFd(socket_create_client(m_unit.busAddress().c_str())));
        peer.Send(WireMessage{2, 0, 1, 0, "cbus.status", ""});
        const JsonPtr status(cJSON_Parse(peer.Receive().data.c_str()));
        const cJSON* client = nullptr;
        cJSON_ArrayForEach(client, Member(status, {"clients"})) {
            if (cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(client, "pid")) ==
                m_unit.daemon().pid()) {
                return cJSON_GetNumberValue(cJSON_GetObjectItemCaseSensitive(client, "messages_in"));
            }
        }
        return 0;
    }
};
