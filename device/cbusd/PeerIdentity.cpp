// SPDX-License-Identifier: MIT

#include "device/cbusd/PeerIdentity.h"

#include <fcntl.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "runtime/c_owner.h"
#include "src/base/printable_text.h"

namespace {

std::vector<gid_t> supplementary_groups(int socket) {
    std::vector<gid_t> groups;
    socklen_t length = 0;
    // The first call only tells the size.
    if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, nullptr, &length) < 0 && length > 0) {
        groups.resize(length / sizeof(gid_t));
        if (getsockopt(socket, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &length) < 0) {
            groups.clear();
        }
    }
    return groups;
}

std::string program_of(pid_t pid) {
    const std::string path = "/proc/" + std::to_string(pid) + "/comm";
    const UniqueFd file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char name[64];
    const ssize_t n = file.valid() ? read(file.get(), name, sizeof name) : 0;
    std::string_view text(name, n > 0 ? static_cast<size_t>(n) : 0);
    if (text.ends_with('\n')) {
        text.remove_suffix(1);
    }
    return text_as_ascii(text);
}

}  // namespace

PeerIdentity peer_identity(int socket) {
    ucred credentials{};
    socklen_t length = sizeof credentials;
    // Over tcp the call succeeds and knows no process.
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &credentials, &length) < 0 ||
        credentials.uid == kUnknownUser) {
        return {};
    }
    PeerIdentity peer{credentials.pid, credentials.uid, supplementary_groups(socket),
                      program_of(credentials.pid)};
    peer.groups.push_back(credentials.gid);
    return peer;
}

std::string peer_description(const PeerIdentity& peer) {
    if (peer.uid == kUnknownUser) {
        return "an unknown process";
    }
    const passwd* user = getpwuid(peer.uid);
    return "pid " + std::to_string(peer.pid) + ", user " +
           (user != nullptr ? std::string(user->pw_name) : std::to_string(peer.uid)) + ", program " +
           peer.program;
}
