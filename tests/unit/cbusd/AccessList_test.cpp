// SPDX-License-Identifier: MIT

#include "device/cbusd/AccessList.h"

#include <gtest/gtest.h>

namespace {

constexpr uid_t kOwn = 500;

PeerIdentity Peer(uid_t uid, std::vector<gid_t> groups = {}) {
    return {1, uid, std::move(groups), "program"};
}

}  // namespace

TEST(BusAccess, IsForTheBrokersOwnUserAndRoot) {
    const AccessList access(kOwn);

    EXPECT_TRUE(access.has(Peer(kOwn)));
    EXPECT_TRUE(access.has(Peer(0)));
    EXPECT_FALSE(access.has(Peer(501, {0, kOwn})));
    EXPECT_FALSE(access.has(Peer(kUnknownUser)));
}

TEST(BusAccess, IsForUsersThatWereAdded) {
    AccessList access(kOwn);

    EXPECT_TRUE(access.allow_user("501"));
    EXPECT_TRUE(access.allow_user("nobody"));

    EXPECT_TRUE(access.has(Peer(501)));
    EXPECT_TRUE(access.has(Peer(65534)));
    EXPECT_FALSE(access.has(Peer(502)));
}

TEST(BusAccess, IsForMembersOfGroupsThatWereAdded) {
    AccessList access(kOwn);

    EXPECT_TRUE(access.allow_group("77"));
    EXPECT_TRUE(access.allow_group("nogroup"));

    EXPECT_TRUE(access.has(Peer(501, {1, 77})));
    EXPECT_TRUE(access.has(Peer(501, {65534})));
    EXPECT_FALSE(access.has(Peer(501, {1, 2})));
}

TEST(BusAccess, KnowsNoUserOrGroupOfABadName) {
    AccessList access(kOwn);

    for (const char* text : {"", "no such name", "-1", "4294967295", "99999999999", "5x"}) {
        EXPECT_FALSE(access.allow_user(text)) << text;
        EXPECT_FALSE(access.allow_group(text)) << text;
    }
}

TEST(BusAccess, IsForUnknownUsersOnlyWhereThatIsAllowed) {
    AccessList access(kOwn);

    access.allow_unknown();

    EXPECT_TRUE(access.has(Peer(kUnknownUser)));
    EXPECT_FALSE(access.is_own(kUnknownUser));
}
