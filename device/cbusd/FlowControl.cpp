// SPDX-License-Identifier: MIT

#include "device/cbusd/FlowControl.h"

#include <algorithm>
#include <utility>

void FlowControl::note_written(ClientId writer, ClientId receiver, Kind kind, size_t waiting_bytes,
                               uint32_t now_ms) {
    note_level(receiver, waiting_bytes);
    const auto found = m_receivers.find(receiver);
    if (found == m_receivers.end()) {
        return;
    }
    Receiver& full = found->second;
    if (full.writers.empty()) {
        full.since_ms = now_ms;
        full.most_bytes = 0;
    }
    full.most_bytes = std::max(full.most_bytes, waiting_bytes);
    full.writers.insert(writer);
    Kind& written = m_blocked[writer].emplace(receiver, kind).first->second;
    if (kind == Kind::kReply) {
        written = kind;
    }
    m_changed.insert(writer);
}

void FlowControl::note_level(ClientId receiver, size_t waiting_bytes) {
    const auto full = m_receivers.find(receiver);
    if (full == m_receivers.end()) {
        if (waiting_bytes > m_limits.full_bytes) {
            set_level(receiver, waiting_bytes > m_limits.over_bytes ? Level::kOver : Level::kFull);
        }
    } else if (waiting_bytes < m_limits.nearly_empty_bytes) {
        remove_receiver(receiver);
    } else if (waiting_bytes > m_limits.over_bytes) {
        set_level(receiver, Level::kOver);
    } else if (waiting_bytes <= m_limits.no_longer_over_bytes) {
        set_level(receiver, Level::kFull);
    }
}

void FlowControl::set_level(ClientId receiver, Level level) {
    const auto [entry, is_new] = m_receivers.try_emplace(receiver);
    if (is_new || entry->second.level != level) {
        entry->second.level = level;
        m_changed.insert(receiver);
        m_changed.insert(entry->second.writers.begin(), entry->second.writers.end());
    }
}

void FlowControl::note_asked(ClientId provider) {
    if (m_blocked.contains(provider)) {
        m_changed.insert(provider);
    }
}

void FlowControl::remove_receiver(ClientId receiver) {
    const auto full = m_receivers.find(receiver);
    if (full == m_receivers.end()) {
        return;
    }
    for (const ClientId writer : full->second.writers) {
        const auto blocked = m_blocked.find(writer);
        blocked->second.erase(receiver);
        if (blocked->second.empty()) {
            m_blocked.erase(blocked);
        }
        m_changed.insert(writer);
    }
    m_changed.insert(receiver);
    m_receivers.erase(full);
}

void FlowControl::remove_client(ClientId client) {
    remove_receiver(client);
    if (const auto blocked = m_blocked.find(client); blocked != m_blocked.end()) {
        for (const auto& [receiver, kind] : blocked->second) {
            m_receivers.at(receiver).writers.erase(client);
        }
        m_blocked.erase(blocked);
    }
    m_changed.erase(client);
}

void FlowControl::restart(ClientId receiver, uint32_t now_ms) {
    if (const auto full = m_receivers.find(receiver); full != m_receivers.end()) {
        full->second.since_ms = now_ms;
    }
}

bool FlowControl::is_held(ClientId client) const {
    const auto blocked = m_blocked.find(client);
    if (blocked == m_blocked.end()) {
        return false;
    }
    const auto& receivers = blocked->second;
    if (std::any_of(receivers.begin(), receivers.end(),
                    [this](const auto& entry) { return is_over(entry.first); })) {
        return true;
    }
    return !m_receivers.contains(client) && !owes_others(client, receivers);
}

bool FlowControl::is_over(ClientId receiver) const {
    const auto full = m_receivers.find(receiver);
    return full != m_receivers.end() && full->second.level == Level::kOver;
}

bool FlowControl::is_any_over() const {
    return std::any_of(m_receivers.begin(), m_receivers.end(),
                       [](const auto& entry) { return entry.second.level == Level::kOver; });
}

bool FlowControl::is_blocked_on(ClientId client, ClientId receiver) const {
    const auto full = m_receivers.find(receiver);
    return full != m_receivers.end() && full->second.writers.contains(client);
}

bool FlowControl::is_holding_somebody(ClientId receiver) const {
    const auto full = m_receivers.find(receiver);
    return full != m_receivers.end() && !full->second.writers.empty();
}

std::optional<ClientId> FlowControl::receiver_in_the_way_of(ClientId provider) const {
    const auto blocked = m_blocked.find(provider);
    if (blocked == m_blocked.end() || !owes_others(provider, blocked->second)) {
        return std::nullopt;
    }
    for (const auto& [receiver, kind] : blocked->second) {
        if (kind == Kind::kReply && is_over(receiver)) {
            return receiver;
        }
    }
    return std::nullopt;
}

std::vector<std::pair<ClientId, uint32_t>> FlowControl::slow_receivers(uint32_t now_ms,
                                                                       uint32_t time_ms) const {
    std::vector<std::pair<ClientId, uint32_t>> slow;
    for (const auto& [id, receiver] : m_receivers) {
        const uint32_t waited_ms = now_ms - receiver.since_ms;
        if (!receiver.writers.empty() && waited_ms >= time_to_empty_ms(receiver, time_ms)) {
            slow.emplace_back(id, waited_ms);
        }
    }
    return slow;
}

// The time for a queue that is just full is the least: one that was filled while its writers came and went may be
// shorter.
uint64_t FlowControl::time_to_empty_ms(const Receiver& receiver, uint32_t time_ms) const {
    const size_t most = std::max(receiver.most_bytes, m_limits.full_bytes);
    return uint64_t{time_ms} * (most - m_limits.nearly_empty_bytes) /
           (m_limits.full_bytes - m_limits.nearly_empty_bytes);
}

std::set<ClientId> FlowControl::take_changed() {
    return std::exchange(m_changed, {});
}

bool FlowControl::owes_others(ClientId client, const std::map<ClientId, Kind>& receivers) const {
    for (const ClientId origin : m_pending.origins_waiting_for(client)) {
        if (!receivers.contains(origin)) {
            return true;
        }
    }
    return false;
}
