// SPDX-License-Identifier: MIT

#include "device/terminald/StartSequence.h"

#include <algorithm>
#include <iterator>

namespace {

struct Step {
    SystemStatus status;
    uint32_t duration_ms;  // of the last one: for ever
};

// The software comes up, the antenna searches the sky, the modem locks.
constexpr Step kSteps[] = {
    {SystemStatus::kInitializing, 8000},
    {SystemStatus::kSkyscan, 25000},
    {SystemStatus::kAcquiring, 12000},
    {SystemStatus::kReady, 0},
};
constexpr size_t kLastStep = std::size(kSteps) - 1;
constexpr double kMaxStepMs = 1e9;  // far from the wrap of the clock

}  // namespace

StartSequence::StartSequence(uint32_t now_ms, double speed) : m_speed(speed), m_step_start_ms(now_ms) {}

SystemStatus StartSequence::status() const {
    return kSteps[m_step].status;
}

void StartSequence::advance(uint32_t now_ms) {
    while (m_step < kLastStep && now_ms - m_step_start_ms >= step_ms()) {
        m_step_start_ms += step_ms();
        ++m_step;
    }
}

std::optional<uint32_t> StartSequence::time_left_ms(uint32_t now_ms) const {
    if (m_step == kLastStep) {
        return std::nullopt;
    }
    const uint32_t elapsed_ms = now_ms - m_step_start_ms;
    return step_ms() - std::min(elapsed_ms, step_ms());
}

uint32_t StartSequence::step_ms() const {
    return static_cast<uint32_t>(std::min(kSteps[m_step].duration_ms / m_speed, kMaxStepMs));
}
