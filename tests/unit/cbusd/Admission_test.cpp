// SPDX-License-Identifier: MIT

#include "device/cbusd/Admission.h"

#include <gmock/gmock.h>

#include "BrokerFixture.h"

namespace {

using testing::ElementsAre;

constexpr uid_t kOwn = 500;

class BusAdmission : public testing::Test {
  protected:
    static PeerIdentity Peer(uid_t uid) { return {12, uid, {}, "program"}; }
    static AccessList Everybody() {
        AccessList access(kOwn);
        EXPECT_TRUE(access.allow_user("4000000001") && access.allow_user("4000000002"));
        return access;
    }

    CapturedLog m_log;
    Admission m_admission{Everybody(), {5, 2, 3}};
};

constexpr uid_t kOne = 4'000'000'001;
constexpr uid_t kOther = 4'000'000'002;

// Two clients in all.
class SmallBus : public BrokerFixture {
  protected:
    static BrokerOptions Small() {
        BrokerOptions options;
        options.admission.clients = 2;
        return options;
    }
    SmallBus() : BrokerFixture(Small()) {}
};

// The thread is another user while this lives, for the connections that it makes.
class AsNobody {
  public:
    AsNobody() { Become(65534); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;
    ~AsNobody() { Become(0); }

  private:
    static void Become(uid_t user) { EXPECT_EQ(seteuid(user), 0); }
};

}  // namespace

TEST_F(BusAdmission, OtherUsersTogetherLeaveRoomForTheUnitsOwnPrograms) {
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));
    EXPECT_TRUE(m_admission.enter(Peer(kOther)));

    EXPECT_FALSE(m_admission.enter(Peer(kOther)));

    EXPECT_TRUE(m_admission.enter(Peer(kOwn)));
    EXPECT_TRUE(m_admission.enter(Peer(0)));
    m_admission.leave(Peer(kOne));
    EXPECT_TRUE(m_admission.enter(Peer(kOther)));
}

TEST_F(BusAdmission, IsRefusedToOneOfAnotherUserWithALogLine) {
    EXPECT_FALSE(m_admission.enter(Peer(501)));

    EXPECT_THAT(m_log.lines(),
                ElementsAre("4 cbusd: refused pid 12, user 501, program program: its user may not use "
                            "the bus (0 more since the last line)"));
}

TEST_F(BusAdmission, OfOneUserIsLimitedToItsShare) {
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));

    EXPECT_FALSE(m_admission.enter(Peer(kOne)));
    EXPECT_TRUE(m_admission.enter(Peer(kOther)));
}

TEST_F(BusAdmission, OfTheOwnUserAndRootHasNoShare) {
    for (const uid_t user : {kOwn, kOwn, kOwn, uid_t{0}, uid_t{0}}) {
        EXPECT_TRUE(m_admission.enter(Peer(user)));
    }

    EXPECT_FALSE(m_admission.enter(Peer(0)));
}

TEST_F(BusAdmission, IsOpenAgainAfterOneLeft) {
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));
    EXPECT_TRUE(m_admission.enter(Peer(kOne)));

    m_admission.leave(Peer(kOne));

    EXPECT_TRUE(m_admission.enter(Peer(kOne)));
}

TEST_F(BusAdmission, LogsOneLineThoughManyAreRefused) {
    for (int i = 0; i < 1000; ++i) {
        EXPECT_FALSE(m_admission.enter(Peer(501)));
    }

    EXPECT_EQ(m_admission.refused_count(), 1000u);
    EXPECT_LT(m_log.lines().size(), 10u);
}

TEST_F(SmallBus, DisconnectsWhoComesWhenItIsFull) {
    const BusPeer first = Connect();
    BusPeer second = Connect();

    BusPeer third(UniqueFd(socket_create_client(m_address.c_str())));

    EXPECT_TRUE(IsDisconnected(third));
    Settle(second);
}

TEST_F(SmallBus, LetsANewOneInWhenOneHasGone) {
    BusPeer first = Connect();
    const BusPeer second = Connect();
    first.Hang();
    ASSERT_TRUE(RunUntil([&] { return m_broker->client_count() == 1; }));

    BusPeer third = Connect();

    Settle(third);
}

TEST_F(SmallBus, DisconnectsAnotherUser) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "only root can be somebody else";
    }
    BusPeer peer;
    {
        const AsNobody nobody;
        peer = BusPeer(UniqueFd(socket_create_client(m_address.c_str())));
    }

    EXPECT_TRUE(IsDisconnected(peer));
    EXPECT_EQ(m_log.countOf("4 cbusd: refused pid " + std::to_string(getpid()) +
                            ", user nobody, program unit_cbusd: its user may not use the bus"),
              1);
}
