// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "events/event_wire.h"

// EventList: the unit's events, current and past, by their position. An event is known by ev_id, source and subsource.
//   Positions have no gaps and events never leave theirs; only when the list is full does a new one take the place of
//   the ended one that changed least recently.
// Owns:   a copy of each event.
// Units:  seconds of px_time().
class EventList {
  public:
    // What the readers of the list make room for.
    static constexpr size_t kCapacity = 200;

    EventList() = default;
    // At most kCapacity events, in the order of their positions.
    explicit EventList(std::vector<UserEvent> events);

    // The position that changed. None when nothing did: the end of an event that is not held, a report that says what
    // is known already, or a new event while all places are taken by active ones.
    [[nodiscard]] std::optional<unsigned> report(const EventReport& report, uint8_t severity, uint32_t now_s);

    // Ends the active events with this identifier, with 0 all of them. The positions that changed, ascending.
    [[nodiscard]] std::vector<unsigned> end(uint32_t ev_id, uint32_t now_s);

    [[nodiscard]] const std::vector<UserEvent>& events() const { return m_events; }

  private:
    [[nodiscard]] std::optional<unsigned> find(const EventReport& report) const;
    [[nodiscard]] std::optional<unsigned> place_for_new() const;

    std::vector<UserEvent> m_events;
};
