// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <set>
#include <string>

#include "device/cbusd/PeerIdentity.h"

// AccessList: who may use the bus. An abstract address has no file permissions, so the broker looks at the user of
// each client: its own and root always may.
// Errors: allow_user() and allow_group() answer false when the text is neither a number nor a known name. They read
//         the user database.
class AccessList {
  public:
    // `own_user` is the effective user of the broker.
    explicit AccessList(uid_t own_user) : m_own_user(own_user) {}

    [[nodiscard]] bool allow_user(const std::string& name_or_number);
    [[nodiscard]] bool allow_group(const std::string& name_or_number);
    // For clients over tcp, of whom no user is known.
    void allow_unknown() { m_is_unknown_allowed = true; }

    [[nodiscard]] bool has(const PeerIdentity& peer) const;
    // The broker's own user or root: who may also see what others say.
    [[nodiscard]] bool is_own(uid_t user) const { return user == 0 || user == m_own_user; }

  private:
    uid_t m_own_user;
    bool m_is_unknown_allowed = false;
    std::set<uid_t> m_users;
    std::set<gid_t> m_groups;
};
