// SPDX-License-Identifier: MIT

#include "device/configd/CommitQueue.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <utility>

void CommitQueue::add(PendingWrite write, uint32_t now_ms) {
    if (m_writes.empty()) {
        m_oldest_ms = now_ms;
    }
    for (const ConfigElement& element : write.elements) {
        m_keys.insert(element.key);
    }
    m_writes.push_back(std::move(write));
}

bool CommitQueue::is_due(uint32_t now_ms) const {
    return !m_writes.empty() && now_ms - m_oldest_ms >= kMaxDelayMs;
}

void CommitQueue::commit() {
    std::vector<PendingWrite> writes = std::exchange(m_writes, {});
    m_keys.clear();
    if (store(writes)) {
        return;
    }
    for (PendingWrite& write : writes) {
        std::vector<PendingWrite> alone;
        alone.push_back(std::move(write));
        // Of a single one it is known already.
        if (writes.size() > 1 && store(alone)) {
            continue;
        }
        for (ConfigElement& element : alone.front().elements) {
            element.status = CONFIG_REFUSED;
        }
        alone.front().after_write(alone.front());
    }
}

void CommitQueue::settle(std::string_view key) {
    if (m_keys.contains(key)) {
        commit();
    }
}

void CommitQueue::settle(const KeyPattern& pattern) {
    if (std::ranges::any_of(m_keys, [&](const std::string& key) { return pattern.matches(key); })) {
        commit();
    }
}

bool CommitQueue::store(std::vector<PendingWrite>& writes) {
    std::vector<ConfigDatabase::Write> elements;
    std::ranges::transform(writes, std::back_inserter(elements), &PendingWrite::elements);
    const auto changes = m_database.write(elements);
    if (!changes) {
        return false;
    }
    for (size_t i = 0; i < writes.size(); ++i) {
        m_announce((*changes)[i]);
        writes[i].after_write(writes[i]);
    }
    return true;
}
