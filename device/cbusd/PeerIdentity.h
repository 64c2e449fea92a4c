// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>
#include <vector>

// PeerIdentity: which process is at the other end of a local socket, as the kernel knew it when that was connected.
constexpr uid_t kUnknownUser = static_cast<uid_t>(-1);

struct PeerIdentity {
    pid_t pid = 0;              // 0 when unknown
    uid_t uid = kUnknownUser;   // the effective one; unknown over tcp
    std::vector<gid_t> groups;  // the effective one and the supplementary ones
    std::string program;        // the name in /proc, printable; empty when unknown
};

// Reads a file of /proc; whatever cannot be learnt stays unknown.
[[nodiscard]] PeerIdentity peer_identity(int socket);

// "pid 12, user www-data, program curl"; the user's number when it has no name. Reads the user database.
[[nodiscard]] std::string peer_description(const PeerIdentity& peer);
