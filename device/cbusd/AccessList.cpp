// SPDX-License-Identifier: MIT

#include "device/cbusd/AccessList.h"

#include <grp.h>
#include <pwd.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <optional>

namespace {

// The largest number is no user but "none".
std::optional<uint32_t> number_of(const std::string& text) {
    uint32_t number = 0;
    const char* end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end || number == kUnknownUser) {
        return std::nullopt;
    }
    return number;
}

}  // namespace

bool AccessList::allow_user(const std::string& name_or_number) {
    if (const auto number = number_of(name_or_number)) {
        m_users.insert(*number);
        return true;
    }
    const passwd* user = getpwnam(name_or_number.c_str());
    if (user != nullptr) {
        m_users.insert(user->pw_uid);
    }
    return user != nullptr;
}

bool AccessList::allow_group(const std::string& name_or_number) {
    if (const auto number = number_of(name_or_number)) {
        m_groups.insert(*number);
        return true;
    }
    const group* found = getgrnam(name_or_number.c_str());
    if (found != nullptr) {
        m_groups.insert(found->gr_gid);
    }
    return found != nullptr;
}

bool AccessList::has(const PeerIdentity& peer) const {
    if (peer.uid == kUnknownUser) {
        return m_is_unknown_allowed;
    }
    return is_own(peer.uid) || m_users.contains(peer.uid) ||
           std::any_of(peer.groups.begin(), peer.groups.end(),
                       [this](gid_t id) { return m_groups.contains(id); });
}
