// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "FrontEnd.h"
#include "HttpFixture.h"
#include "src/http/HabEventServer.h"

// Runs a script in place of the loop: while it runs, the server listens.
class ScriptedServer : public HabEventServer {
  public:
    using HabEventServer::HabEventServer;
    void dispatch_event() override {
        ++dispatched;
        script();
    }
    RawHttpClient connect() { return {getEventbase(), static_cast<std::uint16_t>(boundPort())}; }

    std::function<void()> script = [] {};
    int dispatched = 0;
};

// EventServerFixture: the server on a free port, with the configuration of FrontEnd.
class EventServerFixture : public FrontEnd {
  protected:
    void Serve(const std::function<void()>& script) {
        m_server.script = script;
        EXPECT_EQ(m_server.run(), 0);
    }
    std::string Exchange(const std::string& request) {
        std::string answer;
        Serve([&] { answer = m_server.connect().exchange(request); });
        return answer;
    }
    // Turns the loop until `count` requests wait for their body.
    bool Caches(std::size_t count) {
        return pump_until(m_server.getEventbase(), [&] { return m_server.cachedRequests() == count; });
    }

    ScriptedServer m_server{0};
};

inline long CountOf(const std::string& text, const std::string& part) {
    long count = 0;
    for (std::size_t at = 0; (at = text.find(part, at)) != std::string::npos; at += part.size()) {
        ++count;
    }
    return count;
}

// The status line.
inline std::string StatusOf(const std::string& answer) {
    return answer.substr(0, answer.find("\r\n"));
}
