// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>
#include <string>
#include <vector>

#include "events/EventDb.h"
#include "events/EventStore.h"
#include "events/event_wire.h"
#include "tests/support/ConfigFixture.h"
#include "tests/support/FakeSyslog.h"

inline std::string StoreKey(unsigned position) {
    return "dyn.evh.store." + std::to_string(position);
}

inline std::string ValueOf(const UserEvent& event) {
    const auto bytes = user_event_encode(event);
    return {bytes.begin(), bytes.end()};
}

// An event without sources and times.
inline UserEvent Event(uint32_t ev_id, uint32_t state, uint32_t severity, uint32_t info = 0) {
    return {.severity = static_cast<uint8_t>(severity),
            .state = static_cast<uint8_t>(state),
            .ev_id = ev_id,
            .info = info};
}

// EventFixture: a bus with a database, which holds no event yet.
class EventFixture : public ConfigFixture {
  protected:
    EventFixture() { fake_syslog::forget(); }

    // In the database, without a notification.
    void Store(unsigned position, const UserEvent& event) {
        m_database.setBinary(StoreKey(position), ValueOf(event));
    }
    // With one.
    void Change(unsigned position, const UserEvent& event) {
        Store(position, event);
        m_database.announce({StoreKey(position)});
    }
    void SetTexts(uint32_t ev_id, const std::string& text, const std::string& short_text) {
        m_database.setString("txt.evh.utxt." + std::to_string(ev_id), text);
        m_database.setString("txt.evh.stxt." + std::to_string(ev_id), short_text);
    }
    // Handles everything that the database has sent: a request takes it up before its reply, and the next turn of the
    // loop dispatches it.
    void Settle() {
        waitForDatabase();
        fdloop_timer_add(
            m_loop.get(), 0, [](void*, int, _fdloop_timer_t*) {}, nullptr);
        fdloop_run(m_loop.get());
    }

    // The lines of the log since the test began: level and text.
    static std::vector<std::string> Log() {
        std::vector<std::string> lines;
        for (const std::string& call : fake_syslog::calls()) {
            lines.push_back(call.substr(call.find(' ') + 1));
        }
        return lines;
    }
    // What this process has sent, of messages with this name.
    std::vector<std::string> SentUnder(const std::string& name) {
        waitForDatabase();
        std::vector<std::string> sent;
        for (const BusMessage& message : m_database.messages()) {
            if (message.name == name) {
                sent.push_back(message.data);
            }
        }
        return sent;
    }
};

// The identifiers of a store's records, in their order.
inline std::vector<uint32_t> IdsOf(const EventStore& store) {
    std::vector<uint32_t> ids;
    for (const EventStoreItem* item = store.first(nullptr); item != nullptr;
         item = store.next(nullptr, item)) {
        ids.push_back(item->ev_id);
    }
    return ids;
}
