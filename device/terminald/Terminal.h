// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "device/terminald/ResetButton.h"
#include "device/terminald/StartSequence.h"

struct _fdloop_t;
struct _fdloop_timer_t;

// Terminal: the start sequence and the reset button, shown in the configuration.
//   The database is looked at every second: what it has not taken, or has lost in a restart, is written again.
// Borrows: loop, sequence and button, which outlive it; the configuration client is set up. A terminal does not start
//          anew with its bus, so the two are the caller's.
// Threads: loop thread only.
// Blocks:  every method until the database answers, or the bus in its place.
class Terminal {
  public:
    Terminal(_fdloop_t* loop, StartSequence& sequence, ResetButton& button);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    void press_reset_button();
    void release_reset_button();

  private:
    struct Values {
        int32_t status;
        int32_t button;
        int32_t button_seconds;
        bool operator==(const Values&) const = default;
    };

    static void on_timer(void* self, int, _fdloop_timer_t*) noexcept;

    // Brings everything to this time: sequence, button, configuration, timer.
    void update(uint32_t now_ms);
    [[nodiscard]] static bool is_shown(const Values& values);
    void publish(const Values& values);
    void update_timer(uint32_t now_ms);

    _fdloop_t* m_loop;
    StartSequence& m_sequence;
    ResetButton& m_button;
    _fdloop_timer_t* m_timer = nullptr;
};
