// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <utility>

#include "device/cbusd/AccessList.h"
#include "device/cbusd/PeerIdentity.h"

// Admission: lets clients in while there is room: for all of them together, for each user, and for all users but the
// broker's own and root, so that nobody else can keep the unit's programs out.
// Errors: a refusal is logged here; one line in kQuietMs, which also tells how many there were meanwhile.
class Admission {
  public:
    struct Limits {
        size_t clients = 256;
        size_t clients_of_one_user = 128;  // neither the broker's own nor root
        size_t clients_of_others = 192;    // of all such users together
    };
    static constexpr uint32_t kQuietMs = 1000;

    Admission(AccessList access, const Limits& limits) : m_access(std::move(access)), m_limits(limits) {}

    // The client is inside after true, until leave().
    [[nodiscard]] bool enter(const PeerIdentity& peer);
    void leave(const PeerIdentity& peer);

    [[nodiscard]] const AccessList& access() const { return m_access; }
    [[nodiscard]] size_t refused_count() const { return m_refused; }

  private:
    [[nodiscard]] const char* reason_to_refuse(const PeerIdentity& peer) const;
    [[nodiscard]] size_t inside_of_others() const;
    void log_refusal(const PeerIdentity& peer, const char* reason);

    AccessList m_access;
    Limits m_limits;
    size_t m_inside = 0;
    std::map<uid_t, size_t> m_inside_of_user;
    size_t m_refused = 0;
    size_t m_refused_when_logged = 0;
    uint32_t m_logged_ms = 0;
};
