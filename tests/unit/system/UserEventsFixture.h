// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "SystemFixture.h"
#include "src/system/UserEventAlert.h"
#include "src/system/UserEventLog.h"
#include "tests/support/EventFixture.h"

// An event as the store hands it out.
inline EventRecord record(uint32_t ev_id, uint32_t state, uint32_t severity = kEventSeverityWarning) {
    EventRecord event;
    event.ev_id = ev_id;
    event.state = state;
    event.severity = severity;
    return event;
}

// UserEventsFixture: "/system/user-events" without children, and a list of events that is still empty.
class UserEventsFixture : public SystemFixture {
  protected:
    static constexpr const char* kLogUri = "/system/user-events/log";
    static constexpr const char* kAlertsUri = "/system/user-events/alerts";
    static constexpr const char* kOemWarningUri = "/system/user-events/oem-warning";

    UserEventsFixture() { m_controller.addPathHandler("user-events", m_container); }

    UserEventLog* addLog() { return add("log", new UserEventLog); }
    UserEventAlert* addAlerts() { return add("alerts", new UserEventAlert); }

    template <class Handler>
    Handler* add(const char* name, Handler* handler) {
        m_container->addSubPathHandler(name, handler);
        return handler;
    }

    void store(unsigned position, const UserEvent& event) {
        m_database.setBinary(StoreKey(position), ValueOf(event));
    }
    void change(unsigned position, const UserEvent& event) {
        store(position, event);
        m_database.announce({StoreKey(position)});
    }

    // Of the entries of a collection, in the order of its list: "10 ON 0" is identifier, state and info.
    std::vector<std::string> listed(const char* uri) {
        std::vector<std::string> lines;
        const JsonPtr list = parse(get(uri).json);
        const cJSON* entry = nullptr;
        cJSON_ArrayForEach(entry, list.get()) {
            lines.push_back(summary(entry));
        }
        return lines;
    }
    std::string read(const std::string& uri) { return summary(parse(get(uri.c_str()).json).get()); }

    // What the client has been told since the last call, the data shortened as in listed().
    std::vector<std::string> news() {
        const std::vector<std::string> told = m_client.told();
        std::vector<std::string> lines;
        for (; m_news_read < told.size(); ++m_news_read) {
            const std::string& line = told[m_news_read];
            const size_t data = line.find(" {");
            lines.push_back(data == std::string::npos
                                ? line
                                : line.substr(0, data + 1) + summary(parse(line.substr(data)).get()));
        }
        return lines;
    }

    BasePathHandler* m_container = new BasePathHandler;  // the controller's

  private:
    static std::string summary(const cJSON* entry) {
        const auto text = [entry](const char* name) {
            return print_compact(cJSON_GetObjectItemCaseSensitive(entry, name));
        };
        const char* const state = cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(entry, "state"));
        return state == nullptr ? "none" : text("ev_id") + " " + state + " " + text("info");
    }

    size_t m_news_read = 0;
};
