// SPDX-License-Identifier: MIT

#include "device/terminald/ResetButton.h"

namespace {

constexpr uint32_t kSecondMs = 1000;

}  // namespace

void ResetButton::press(uint32_t now_ms) {
    if (m_status == ButtonStatus::kPressed) {
        return;
    }
    m_status = ButtonStatus::kPressed;
    m_seconds = 0;
    m_press_ms = now_ms;
}

void ResetButton::release(uint32_t now_ms) {
    if (m_status == ButtonStatus::kPressed) {
        advance(now_ms);
        m_status = ButtonStatus::kReleased;
    }
}

void ResetButton::advance(uint32_t now_ms) {
    if (m_status == ButtonStatus::kPressed) {
        m_seconds = static_cast<int32_t>((now_ms - m_press_ms) / kSecondMs);
    }
}

std::optional<uint32_t> ResetButton::time_left_ms(uint32_t now_ms) const {
    if (m_status != ButtonStatus::kPressed) {
        return std::nullopt;
    }
    return kSecondMs - (now_ms - m_press_ms) % kSecondMs;
}
