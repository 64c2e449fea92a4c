// SPDX-License-Identifier: MIT

#include "device/cbusd/PendingRequests.h"

#include <iterator>
#include <utility>

namespace {

// 0 is what a provider sends that does not carry the tag through; it must match nothing.
constexpr size_t kTags = UINT16_MAX;
constexpr size_t kClients = 256;
constexpr size_t kSharedTags = kTags - kClients * PendingRequests::kGuaranteedPerOrigin;

}  // namespace

std::optional<uint16_t> PendingRequests::add(PendingRequest request) {
    if (!has_room_for(request)) {
        return std::nullopt;
    }
    do {
        ++m_last_tag;
    } while (m_last_tag == 0 || m_by_tag.contains(m_last_tag));
    Share& share = m_per_origin[request.origin];
    if (++share.requests > kGuaranteedPerOrigin) {
        ++m_beyond_guaranteed;
    }
    share.name_bytes += request.name.size();
    ++m_per_pair[{request.provider, request.origin}];
    m_by_age.push_back({m_last_tag, std::move(request)});
    m_by_tag.emplace(m_last_tag, std::prev(m_by_age.end()));
    return m_last_tag;
}

bool PendingRequests::has_room_for(const PendingRequest& request) const {
    const auto origin = m_per_origin.find(request.origin);
    const Share share = origin != m_per_origin.end() ? origin->second : Share{};
    const bool is_guaranteed = share.requests < kGuaranteedPerOrigin;
    return m_by_tag.size() < kTags && share.requests < kMaxPerOrigin &&
           (is_guaranteed || m_beyond_guaranteed < kSharedTags) &&
           share.name_bytes + request.name.size() <= kMaxNameBytesPerOrigin;
}

const PendingRequest* PendingRequests::find(ClientId provider, const cbus_header_t& reply) const {
    const auto found = m_by_tag.find(reply.reserved);
    if (found == m_by_tag.end()) {
        return nullptr;
    }
    const PendingRequest& request = found->second->request;
    const bool is_answered =
        request.provider == provider && request.header.seqn == reply.seqn && request.header.src == reply.src;
    return is_answered ? &request : nullptr;
}

std::optional<PendingRequest> PendingRequests::take(ClientId provider, const cbus_header_t& reply) {
    return find(provider, reply) != nullptr ? std::optional(remove(m_by_tag.at(reply.reserved)))
                                            : std::nullopt;
}

std::vector<PendingRequest> PendingRequests::take_expired(uint32_t now_ms, uint32_t timeout_ms) {
    std::vector<PendingRequest> expired;
    while (!m_by_age.empty() && now_ms - m_by_age.front().request.sent_ms >= timeout_ms) {
        expired.push_back(remove(m_by_age.begin()));
    }
    return expired;
}

std::vector<PendingRequest> PendingRequests::take_of_provider(ClientId provider) {
    std::vector<PendingRequest> taken;
    for (auto entry = m_by_age.begin(); entry != m_by_age.end();) {
        const auto current = entry++;
        if (current->request.provider == provider) {
            taken.push_back(remove(current));
        }
    }
    return taken;
}

void PendingRequests::drop_origin(ClientId origin) {
    for (auto entry = m_by_age.begin(); entry != m_by_age.end();) {
        const auto current = entry++;
        if (current->request.origin == origin) {
            remove(current);
        }
    }
}

const PendingRequest* PendingRequests::oldest() const {
    return m_by_age.empty() ? nullptr : &m_by_age.front().request;
}

std::vector<ClientId> PendingRequests::origins_waiting_for(ClientId provider) const {
    std::vector<ClientId> origins;
    for (auto pair = m_per_pair.lower_bound({provider, 0});
         pair != m_per_pair.end() && pair->first.first == provider; ++pair) {
        origins.push_back(pair->first.second);
    }
    return origins;
}

PendingRequest PendingRequests::remove(Entries::iterator entry) {
    PendingRequest request = std::move(entry->request);
    m_by_tag.erase(entry->tag);
    m_by_age.erase(entry);
    const auto origin = m_per_origin.find(request.origin);
    origin->second.name_bytes -= request.name.size();
    if (origin->second.requests > kGuaranteedPerOrigin) {
        --m_beyond_guaranteed;
    }
    if (--origin->second.requests == 0) {
        m_per_origin.erase(origin);
    }
    const auto pair = m_per_pair.find({request.provider, request.origin});
    if (--pair->second == 0) {
        m_per_pair.erase(pair);
    }
    return request;
}
