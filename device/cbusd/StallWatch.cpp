// SPDX-License-Identifier: MIT

#include "device/cbusd/StallWatch.h"

#include <algorithm>
#include <utility>

void StallWatch::note_written(ClientId receiver, size_t waiting_bytes, uint32_t now_ms) {
    if (waiting_bytes > m_limit_bytes) {
        m_since_ms.emplace(receiver, now_ms);
    }
}

void StallWatch::note_taken(ClientId receiver, size_t waiting_bytes, uint32_t now_ms) {
    if (waiting_bytes > m_limit_bytes) {
        m_since_ms[receiver] = now_ms;
    } else {
        m_since_ms.erase(receiver);
    }
}

void StallWatch::restart(ClientId receiver, uint32_t now_ms) {
    if (const auto found = m_since_ms.find(receiver); found != m_since_ms.end()) {
        found->second = now_ms;
    }
}

std::vector<ClientId> StallWatch::stalled(uint32_t now_ms, uint32_t time_ms) const {
    std::vector<std::pair<uint32_t, ClientId>> by_time;
    for (const auto& [receiver, since_ms] : m_since_ms) {
        if (now_ms - since_ms >= time_ms) {
            by_time.emplace_back(now_ms - since_ms, receiver);
        }
    }
    std::sort(by_time.rbegin(), by_time.rend());
    std::vector<ClientId> result;
    for (const auto& [stalled_ms, receiver] : by_time) {
        result.push_back(receiver);
    }
    return result;
}
