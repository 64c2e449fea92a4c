// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>

// What "ram.status.system.reset_button.reset_pressed" says; the numbers are those of the configuration.
enum class ButtonStatus : int32_t {
    kDefault = 0,  // never pressed
    kPressed = 1,
    kReleased = 2,
};

// ResetButton: the button and how many seconds it is held, or was held last.
// Threads: one.
// Units:   milliseconds of px_time_ms(); whole seconds are counted, begun ones are not.
class ResetButton {
  public:
    // A second press without a release between is the same press; a release without a press is none.
    void press(uint32_t now_ms);
    void release(uint32_t now_ms);
    void advance(uint32_t now_ms);

    [[nodiscard]] ButtonStatus status() const { return m_status; }
    [[nodiscard]] int32_t seconds() const { return m_seconds; }
    // Until the next second is full; nothing while the button is not held.
    [[nodiscard]] std::optional<uint32_t> time_left_ms(uint32_t now_ms) const;

  private:
    ButtonStatus m_status = ButtonStatus::kDefault;
    int32_t m_seconds = 0;
    uint32_t m_press_ms = 0;
};
