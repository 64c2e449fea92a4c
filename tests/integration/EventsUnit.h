// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "UnitFixture.h"

// EventsUnit: a unit with its event handler.
class EventsUnit : public UnitFixture {
  protected:
    static constexpr const char* kWarning = "/system/user-events/oem-warning";
    static constexpr const char* kAlerts = "/system/user-events/alerts";
    static constexpr const char* kLog = "/system/user-events/log";

    void SetUp() override {
        m_unit.startBus();
        m_unit.startDatabase();
        m_eventd = &m_unit.startOther(EVENTD_PROGRAM);
        m_unit.startDaemon();
    }

    // The states and numbers of the entries of a collection: "ON 5, OFF 5".
    std::string Entries(const char* collection) {
        const JsonPtr list(cJSON_Parse(Request("GET", collection).body.c_str()));
        std::string text;
        const cJSON* entry = nullptr;
        cJSON_ArrayForEach(entry, list.get()) {
            text += text.empty() ? "" : ", ";
            text += std::string(cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(entry, "state"))) +
                    " " + Compact(cJSON_GetObjectItemCaseSensitive(entry, "info"));
        }
        return text;
    }
    std::string EntriesOnce(const char* collection, const std::string& expected) {
        for (int i = 0; i < 1000 && Entries(collection) != expected; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return Entries(collection);
    }

    Program* m_eventd = nullptr;
};
