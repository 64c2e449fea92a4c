// SPDX-License-Identifier: MIT

#include "device/cbusd/SlowReceivers.h"

namespace {

std::string for_seconds(const char* how, uint32_t time_ms) {
    return std::string(how) + " for " + std::to_string(time_ms / 1000) + " s";
}

}  // namespace

void SlowReceivers::note_written(ClientId receiver, size_t waiting_bytes, uint32_t now_ms) {
    m_stalled.note_written(receiver, waiting_bytes, now_ms);
    m_holding.note_written(receiver, waiting_bytes, now_ms);
}

void SlowReceivers::note_taken(ClientId receiver, size_t waiting_bytes, uint32_t now_ms) {
    m_stalled.note_taken(receiver, waiting_bytes, now_ms);
    m_holding.note_taken(receiver, waiting_bytes, now_ms);
}

void SlowReceivers::restart(ClientId receiver, uint32_t now_ms) {
    m_stalled.restart(receiver, now_ms);
    m_holding.restart(receiver, now_ms);
    m_flow.restart(receiver, now_ms);
}

void SlowReceivers::remove(ClientId receiver) {
    m_stalled.remove(receiver);
    m_holding.remove(receiver);
}

std::vector<SlowReceivers::Slow> SlowReceivers::at(uint32_t now_ms) const {
    std::vector<Slow> slow;
    for (const ClientId id : m_stalled.stalled(now_ms, m_limits.stalled_ms)) {
        slow.push_back({id, for_seconds("has taken nothing", m_limits.stalled_ms)});
    }
    for (const ClientId id : m_holding.stalled(now_ms, m_limits.holding_ms)) {
        if (m_flow.is_holding_somebody(id)) {
            slow.push_back({id, for_seconds("has taken nothing", m_limits.holding_ms)});
        }
    }
    for (const auto& [id, time_ms] : m_flow.slow_receivers(now_ms, m_limits.holding_ms)) {
        slow.push_back({id, for_seconds("has kept others waiting", time_ms)});
    }
    return slow;
}
