// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

// What "ram.status.system" says; the numbers are those of the configuration.
enum class SystemStatus : int32_t {
    kInitializing = 1,
    kSkyscan = 4,
    kAcquiring = 5,
    kReady = 6,
};

// StartSequence: the way of a terminal from power-on to a locked satellite.
// Threads: one.
// Units:   milliseconds of px_time_ms(). `speed` is how many times faster than a real terminal it goes; above 0.
class StartSequence {
  public:
    StartSequence(uint32_t now_ms, double speed);

    [[nodiscard]] SystemStatus status() const;
    // Takes every step that is due; late ones do not delay those behind them.
    void advance(uint32_t now_ms);
    // Until the next step; nothing once the terminal is ready.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const;

  private:
    [[nodiscard]] uint32_t step_ms() const;

    double m_speed;
    size_t m_step = 0;
    uint32_t m_step_start_ms;
};
