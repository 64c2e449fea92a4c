// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "EventServerFixture.h"

inline constexpr const char* kOk = "HTTP/1.1 200 OK";
inline constexpr const char* kBadRequest = "HTTP/1.1 400 Bad Request";
inline constexpr const char* kForbidden = "HTTP/1.1 403 Forbidden";

// PushChannels: the server with its push channels, and what clients send to them.
class PushChannels : public EventServerFixture {
  protected:
    PushChannels() { m_server.setInstanceId(0x1a2b3c); }

    static std::string Subscription(const std::string& query) {
        return "GET /activity" + query + " HTTP/1.1\r\nHost: x\r\n\r\n";
    }
    static std::string Publication(const std::string& query, const std::string& body,
                                   const std::string& headers = "Content-Type: application/json\r\n") {
        return "POST /publish" + query + " HTTP/1.1\r\nHost: x\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }
    // Publishes to the channel "a".
    std::string Publish(const std::string& body) {
        return m_server.connect().exchange(Publication("?channel=a", body));
    }
    // Events with the ids 1 to `count`: {"n": id}.
    void PublishEvents(int count) {
        RawHttpClient publisher = m_server.connect();
        for (int n = 1; n <= count; ++n) {
            publisher.exchange(Publication("?channel=a", "{\"n\": " + std::to_string(n) + "}"));
        }
    }
    // Turns the loop until that many requests wait.
    bool Waits(std::size_t count) {
        return pump_until(m_server.getEventbase(), [&] { return m_server.waitingRequests() == count; });
    }
    // The events of a reply, each as its text.
    static std::vector<std::string> EventsOf(const std::string& answer) {
        std::vector<std::string> events;
        const std::size_t begin = answer.find('{');
        const std::size_t end = answer.rfind('}');
        const JsonPtr update(begin < end ? cJSON_Parse(answer.substr(begin, end + 1 - begin).c_str())
                                         : nullptr);
        const cJSON* event = nullptr;
        cJSON_ArrayForEach(event, cJSON_GetObjectItemCaseSensitive(update.get(), "settings-update")) {
            events.emplace_back(JsonText(cJSON_PrintUnformatted(event)).get());
        }
        return events;
    }
    using Events = std::vector<std::string>;
};

inline bool Has(const std::string& answer, const std::string& line) {
    return answer.find("\r\n" + line + "\r\n") != std::string::npos;
}

// A client with an address of its own on the loopback.
inline std::string ExchangeFrom(const char* address, ScriptedServer& server, const std::string& request) {
    return RawHttpClient(server.getEventbase(), static_cast<std::uint16_t>(server.boundPort()), address)
        .exchange(request);
}
