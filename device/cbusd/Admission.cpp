// SPDX-License-Identifier: MIT

#include "device/cbusd/Admission.h"

#include "runtime/logging.h"
#include "runtime/px_time.h"

bool Admission::enter(const PeerIdentity& peer) {
    if (const char* reason = reason_to_refuse(peer)) {
        ++m_refused;
        log_refusal(peer, reason);
        return false;
    }
    ++m_inside;
    ++m_inside_of_user[peer.uid];
    return true;
}

void Admission::leave(const PeerIdentity& peer) {
    --m_inside;
    const auto of_user = m_inside_of_user.find(peer.uid);
    if (--of_user->second == 0) {
        m_inside_of_user.erase(of_user);
    }
}

const char* Admission::reason_to_refuse(const PeerIdentity& peer) const {
    if (!m_access.has(peer)) {
        return "its user may not use the bus";
    }
    if (m_inside >= m_limits.clients) {
        return "too many clients";
    }
    if (m_access.is_own(peer.uid)) {
        return nullptr;
    }
    const auto of_user = m_inside_of_user.find(peer.uid);
    if (of_user != m_inside_of_user.end() && of_user->second >= m_limits.clients_of_one_user) {
        return "too many clients of its user";
    }
    return inside_of_others() >= m_limits.clients_of_others ? "too many clients of other users" : nullptr;
}

size_t Admission::inside_of_others() const {
    size_t inside = 0;
    for (const auto& [uid, of_user] : m_inside_of_user) {
        inside += m_access.is_own(uid) ? 0 : of_user;
    }
    return inside;
}

// Whoever is refused tries again, perhaps at once.
void Admission::log_refusal(const PeerIdentity& peer, const char* reason) {
    const uint32_t now_ms = px_time_ms();
    if (m_refused_when_logged > 0 && now_ms - m_logged_ms < kQuietMs) {
        return;
    }
    const size_t unlogged = m_refused - m_refused_when_logged - 1;
    logger_function(4, "cbusd", "refused %s: %s (%zu more since the last line)",
                    peer_description(peer).c_str(), reason, unlogged);
    m_refused_when_logged = m_refused;
    m_logged_ms = now_ms;
}
