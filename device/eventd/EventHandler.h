// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string_view>
#include <variant>
#include <vector>

#include "device/eventd/EventList.h"
#include "device/eventd/StoredList.h"
#include "device/eventd/event_database.h"

// EventHandler: what the signals of the unit's programs do to the list of events.
// Threads: the thread of the configuration client only.
// Blocks:  for the database, see StoredList.
// Errors:  data that a signal cannot carry are logged and change nothing.
// Units:   seconds of px_time().
class EventHandler {
  public:
    static constexpr size_t kMaxDefinitions = kMaxEventSeverities;
    static constexpr size_t kMaxWaiting = 1000;

    EventHandler() = default;
    EventHandler(const EventHandler&) = delete;
    EventHandler& operator=(const EventHandler&) = delete;
    ~EventHandler() = default;

    // Takes over the list that the database holds. Until that has worked, signals wait, at most kMaxWaiting of them;
    // then they are handled in their order, with the times at which they came. False when there is no answer.
    [[nodiscard]] bool restore();
    [[nodiscard]] bool is_restored() const { return m_is_restored; }

    void handle_signal(std::string_view name, std::string_view data, uint32_t now_s);

    // Now and then, for the database that was away: what it has lost or missed is written.
    void check_database();

    [[nodiscard]] const EventList& list() const { return m_list; }

  private:
    struct Clear {
        uint32_t ev_id;
    };
    struct Waiting {
        std::variant<EventReport, Clear> what;
        uint32_t when_s;
    };

    [[nodiscard]] bool register_definitions(std::string_view data);
    [[nodiscard]] bool take_report(std::string_view data, uint32_t now_s);
    [[nodiscard]] bool take_clear(std::string_view data, uint32_t now_s);
    void take(const Waiting& signal);
    void apply(const EventReport& report, uint32_t now_s);
    void apply(const Clear& clear, uint32_t now_s);

    EventList m_list;
    StoredList m_stored{m_list};
    EventSeverities m_severities;
    std::vector<Waiting> m_waiting;  // until the list is restored
    bool m_is_restored = false;
};
