// SPDX-License-Identifier: MIT

#include "device/cbusd/PeerIdentity.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>

#include "cbus/socket_helpers.h"
#include "runtime/c_owner.h"

TEST(BusPeerIdentity, TellsTheProcessAtTheOtherEnd) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    const UniqueFd ours(pair[0]), theirs(pair[1]);

    const PeerIdentity peer = peer_identity(ours.get());

    EXPECT_EQ(peer.pid, getpid());
    EXPECT_EQ(peer.uid, geteuid());
    EXPECT_NE(std::find(peer.groups.begin(), peer.groups.end(), getegid()), peer.groups.end());
    EXPECT_EQ(peer.program, "unit_cbusd");
}

TEST(BusPeerIdentity, KnowsNobodyOverTcp) {
    const UniqueFd listener(socket_create_server("tcp**0"));
    const int port = socket_get_port_number(listener.get());
    const UniqueFd client(socket_create_client(("tcp**" + std::to_string(port)).c_str()));
    const UniqueFd accepted(socket_create_server_client(listener.get()));

    const PeerIdentity peer = peer_identity(accepted.get());

    EXPECT_EQ(peer.pid, 0);
    EXPECT_EQ(peer.uid, kUnknownUser);
    EXPECT_EQ(peer_description(peer), "an unknown process");
}

TEST(BusPeerIdentity, NamesAUserOrTellsItsNumber) {
    EXPECT_EQ(peer_description({7, 0, {}, "init"}), "pid 7, user root, program init");
    EXPECT_EQ(peer_description({7, 4'000'000'000, {}, "x"}), "pid 7, user 4000000000, program x");
}
