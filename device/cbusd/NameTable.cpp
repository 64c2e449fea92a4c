// SPDX-License-Identifier: MIT

#include "device/cbusd/NameTable.h"

#include <algorithm>

bool NameTable::add(std::string_view text, ClientId client) {
    if (text.size() > kMaxTextBytes) {
        return false;
    }
    auto& own = m_by_client[client];
    if (const auto held = own.find(text); held != own.end()) {
        ++held->second;
        return true;
    }
    if (own.size() >= kMaxTextsPerClient) {
        return false;
    }
    const auto added = own.emplace(text, 1).first;
    std::vector<ClientId>& holders = m_holders[added->first];
    if (holders.empty()) {
        ++m_lengths[text.size()];
    }
    holders.push_back(client);
    return true;
}

void NameTable::remove(std::string_view text, ClientId client) {
    const auto own = m_by_client.find(client);
    if (own == m_by_client.end()) {
        return;
    }
    const auto held = own->second.find(text);
    if (held != own->second.end() && --held->second == 0) {
        release(held->first, client);
        own->second.erase(held);
    }
}

void NameTable::remove_client(ClientId client) {
    const auto own = m_by_client.find(client);
    if (own == m_by_client.end()) {
        return;
    }
    for (const auto& [text, times] : own->second) {
        release(text, client);
    }
    m_by_client.erase(own);
}

void NameTable::release(const std::string& text, ClientId client) {
    const auto found = m_holders.find(text);
    std::erase(found->second, client);
    if (!found->second.empty()) {
        return;
    }
    m_holders.erase(found);
    const auto length = m_lengths.find(text.size());
    if (--length->second == 0) {
        m_lengths.erase(length);
    }
}

std::vector<ClientId> NameTable::holders_of_beginning(std::string_view name) const {
    std::vector<ClientId> result;
    for (auto length = m_lengths.lower_bound(name.size()); length != m_lengths.end(); ++length) {
        if (const auto found = m_holders.find(name.substr(0, length->first)); found != m_holders.end()) {
            result.insert(result.end(), found->second.begin(), found->second.end());
        }
    }
    std::sort(result.begin(), result.end());
    result.erase(std::unique(result.begin(), result.end()), result.end());
    return result;
}

std::optional<ClientId> NameTable::first_holder_of_path(std::string_view name) const {
    for (auto length = m_lengths.lower_bound(name.size()); length != m_lengths.end(); ++length) {
        if (length->first < name.size() && name[length->first] != '.') {
            continue;
        }
        if (const auto found = m_holders.find(name.substr(0, length->first)); found != m_holders.end()) {
            return found->second.front();
        }
    }
    return std::nullopt;
}

std::vector<std::string_view> NameTable::texts_of(ClientId client) const {
    std::vector<std::string_view> texts;
    if (const auto own = m_by_client.find(client); own != m_by_client.end()) {
        for (const auto& [text, times] : own->second) {
            texts.emplace_back(text);
        }
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::vector<NameTable::Held> NameTable::all() const {
    std::vector<Held> result;
    for (const auto& [text, holders] : m_holders) {
        result.push_back({text, holders});
    }
    std::sort(result.begin(), result.end(), [](const Held& a, const Held& b) { return a.text < b.text; });
    return result;
}
