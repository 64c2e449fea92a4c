// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <span>
#include <string>
#include <vector>

#include "Events.h"
#include "config_client/config_vbuf.h"
#include "device/eventd/EventHandler.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/ConfigFixture.h"

// Handler: the event handler over the configuration client, with a database at the other end of its bus.
class Handler : public ConfigFixture {
  protected:
    static constexpr const char* kSeveritiesKey = "dyn.evh.severities";

    static std::string Key(unsigned position) { return "dyn.evh.store." + std::to_string(position); }
    static std::string Row(uint32_t ev_id, uint32_t severity) {
        return TextOf(event_definition_row_encode({ev_id, severity}));
    }
    static UserEvent ActiveEvent(uint32_t ev_id, uint8_t severity = 0) {
        return {.severity = severity, .state = 2, .ev_id = ev_id, .on_time = 50, .ev_time = 50};
    }

    void Restore() { ASSERT_TRUE(m_handler.restore()); }
    void Send(const EventReport& report, uint32_t now_s = 100) {
        m_handler.handle_signal("event_handler.forwardEventReport", TextOf(event_report_encode(report)),
                                now_s);
    }
    void Define(const std::string& rows) {
        m_handler.handle_signal("event_handler.registerEventDefinition", rows, 100);
    }
    void Clear(const std::string& text, uint32_t now_s = 100) {
        m_handler.handle_signal("event_handler.clearEvents", text, now_s);
    }

    void Store(unsigned position, const UserEvent& event) {
        m_database.setBinary(Key(position), TextOf(user_event_encode(event)));
    }
    // All zeros when there is none.
    UserEvent Stored(unsigned position) {
        std::string bytes = m_database.value(Key(position)).bytes;
        bytes.resize(kUserEventBytes);
        return user_event_decode(std::span<const uint8_t, kUserEventBytes>(
            reinterpret_cast<const uint8_t*>(bytes.data()), kUserEventBytes));
    }
    bool IsStored(unsigned position) { return m_database.value(Key(position)).type != CONFIG_TYPE_NONE; }
    // The database as it is after a restart.
    void ForgetAll() {
        for (unsigned n = 0; n < EventList::kCapacity; ++n) {
            m_database.erase(Key(n));
        }
        m_database.erase(kSeveritiesKey);
    }
    std::string Severities() {
        waitForDatabase();
        return m_database.value(kSeveritiesKey).bytes;
    }
    // The keys of each vector write since the last call; each key ends with a blank.
    std::vector<std::string> Writes() {
        waitForDatabase();
        const auto messages = m_database.messages();
        std::vector<std::string> writes;
        for (; m_seen < messages.size(); ++m_seen) {
            const BusMessage& message = messages[m_seen];
            if (message.name.starts_with("config.modifyv")) {
                std::string names;
                config_vbuf_parse(message.data.data(), message.data.size(), AppendName, &names);
                writes.push_back(names);
            }
        }
        return writes;
    }

  private:
    static int AppendName(void* names, uint32_t, const char* name, const void*, uint32_t, int) {
        *static_cast<std::string*>(names) += std::string(name) + " ";
        return 0;
    }

  protected:
    CapturedLog m_log;
    EventHandler m_handler;
    size_t m_seen = 0;
};
