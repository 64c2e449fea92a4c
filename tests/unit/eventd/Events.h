// SPDX-License-Identifier: MIT

#pragma once

#include <ostream>
#include <string>

#include "events/event_wire.h"

// The vocabulary of these tests.

inline EventReport Report(uint32_t ev_id, uint32_t state, uint32_t info = 0) {
    return {.ev_id = ev_id, .info = info, .state = state};
}
inline EventReport On(uint32_t ev_id, uint32_t info = 0) {
    return Report(ev_id, kEventStateOn, info);
}
inline EventReport Off(uint32_t ev_id, uint32_t info = 0) {
    return Report(ev_id, kEventStateOff, info);
}
inline EventReport Notice(uint32_t ev_id, uint32_t info = 0) {
    return Report(ev_id, kEventStateNone, info);
}

template <class Bytes>
std::string TextOf(const Bytes& bytes) {
    return {bytes.begin(), bytes.end()};
}

inline void PrintTo(const UserEvent& event, std::ostream* out) {
    *out << "{version " << +event.version << ", severity " << +event.severity << ", state " << +event.state
         << ", ev_id " << event.ev_id << ", source " << event.source << ", subsource " << event.subsource
         << ", info " << event.info << ", on " << event.on_time << ", changed " << event.ev_time << "}";
}
