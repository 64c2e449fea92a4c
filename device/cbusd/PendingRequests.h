// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "cbus/cbus_wire.h"
#include "device/cbusd/client_id.h"

struct PendingRequest {
    ClientId origin;
    ClientId provider;
    cbus_header_t header;  // as the origin sent it
    std::string name;      // as the origin sent it, with its NUL; empty without a name
    uint32_t sent_ms;
};

// PendingRequests: requests that were passed on to a provider and wait for its reply, by a tag that the provider
// carries through. A request leaves by the first of take(), take_expired(), take_of_provider() and drop_origin().
//   So many tags are kept free that each of 256 clients can have kGuaranteedPerOrigin requests waiting; the others are
//   for whoever comes first.
// Errors: add() answers nothing when the origin has kMaxPerOrigin requests or kMaxNameBytesPerOrigin of their names
//         waiting, or there is no tag for it.
// Units:  milliseconds of px_time_ms(), which may wrap.
class PendingRequests {
  public:
    // Far above what a client that waits for its replies can have, far below the number of tags.
    static constexpr size_t kMaxPerOrigin = 4096;
    static constexpr size_t kGuaranteedPerOrigin = 128;
    // A name may have 64 KiB, and is kept for the reply that the broker gives when the provider does not.
    static constexpr size_t kMaxNameBytesPerOrigin = size_t{1} << 20;

    // Requests are added in the order of their sent_ms. Answers the tag, never 0.
    [[nodiscard]] std::optional<uint16_t> add(PendingRequest request);
    // The request that this reply answers, if the tag in its header is of one that this provider was asked; else null.
    [[nodiscard]] const PendingRequest* find(ClientId provider, const cbus_header_t& reply) const;
    // The same, which leaves.
    [[nodiscard]] std::optional<PendingRequest> take(ClientId provider, const cbus_header_t& reply);
    [[nodiscard]] std::vector<PendingRequest> take_expired(uint32_t now_ms, uint32_t timeout_ms);
    [[nodiscard]] std::vector<PendingRequest> take_of_provider(ClientId provider);
    void drop_origin(ClientId origin);

    [[nodiscard]] const PendingRequest* oldest() const;
    // Whose requests wait for this provider, each once.
    [[nodiscard]] std::vector<ClientId> origins_waiting_for(ClientId provider) const;

  private:
    struct Entry {
        uint16_t tag;
        PendingRequest request;
    };
    using Entries = std::list<Entry>;
    struct Share {
        size_t requests = 0;
        size_t name_bytes = 0;
    };

    [[nodiscard]] bool has_room_for(const PendingRequest& request) const;
    PendingRequest remove(Entries::iterator entry);

    Entries m_by_age;  // oldest first
    std::unordered_map<uint16_t, Entries::iterator> m_by_tag;
    std::unordered_map<ClientId, Share> m_per_origin;
    std::map<std::pair<ClientId, ClientId>, size_t> m_per_pair;  // by provider and origin
    size_t m_beyond_guaranteed = 0;                              // requests, of all origins
    uint16_t m_last_tag = 0;
};
