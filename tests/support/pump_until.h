// SPDX-License-Identifier: MIT

#pragma once

#include <event2/event.h>

#include <chrono>
#include <functional>

// Turns the loop until the condition holds; false when it does not within a few seconds.
inline bool pump_until(event_base* loop, const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        event_base_loop(loop, EVLOOP_NONBLOCK);
    }
    return true;
}
