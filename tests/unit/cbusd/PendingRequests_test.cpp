// SPDX-License-Identifier: MIT

#include "device/cbusd/PendingRequests.h"

#include <gtest/gtest.h>

#include <set>

namespace {

constexpr ClientId kOrigin = 1;
constexpr ClientId kProvider = 2;
constexpr cbus_header_t kHeader{CBUS_REQUEST, 7, 100, 55, 4, 0};

PendingRequest Request(ClientId origin = kOrigin, ClientId provider = kProvider, uint32_t sent_ms = 0) {
    return {origin, provider, kHeader, std::string("ask\0", 4), sent_ms};
}

cbus_header_t ReplyWith(uint16_t tag) {
    cbus_header_t reply = kHeader;
    reply.type = CBUS_REPLY;
    reply.reserved = tag;
    return reply;
}

}  // namespace

TEST(PendingRequestsTest, AReplyTakesItsRequestOnce) {
    PendingRequests pending;
    const auto tag = pending.add(Request());

    const auto taken = pending.take(kProvider, ReplyWith(*tag));

    ASSERT_TRUE(taken);
    EXPECT_EQ(taken->origin, kOrigin);
    EXPECT_EQ(taken->header.reserved, 55);
    EXPECT_FALSE(pending.take(kProvider, ReplyWith(*tag)));
}

TEST(PendingRequestsTest, AReplyMustFitInTagProviderSequenceNumberAndSource) {
    PendingRequests pending;
    const cbus_header_t right = ReplyWith(*pending.add(Request()));
    cbus_header_t other_tag = right, other_seqn = right, other_source = right;
    ++other_tag.reserved;
    ++other_seqn.seqn;
    ++other_source.src;

    EXPECT_FALSE(pending.take(kProvider, other_tag));
    EXPECT_FALSE(pending.take(kProvider + 1, right));
    EXPECT_FALSE(pending.take(kProvider, other_seqn));
    EXPECT_FALSE(pending.take(kProvider, other_source));
    EXPECT_TRUE(pending.take(kProvider, right));
}

TEST(PendingRequestsTest, TagsAreNeverZeroAndNeverTwiceInUse) {
    PendingRequests pending;
    const uint16_t first = *pending.add(Request());
    std::set<uint16_t> seen{first};

    for (int i = 0; i < 70'000; ++i) {
        const auto tag = pending.add(Request());
        ASSERT_TRUE(tag);
        ASSERT_NE(*tag, first);
        seen.insert(*tag);
        ASSERT_TRUE(pending.take(kProvider, ReplyWith(*tag)));
    }

    EXPECT_FALSE(seen.contains(0));
    EXPECT_EQ(seen.size(), 65535u);
}

TEST(PendingRequestsTest, OneOriginIsLimitedAndLeavesRoomForOthers) {
    PendingRequests pending;
    for (size_t i = 0; i < PendingRequests::kMaxPerOrigin; ++i) {
        ASSERT_TRUE(pending.add(Request()));
    }

    EXPECT_FALSE(pending.add(Request()));
    EXPECT_TRUE(pending.add(Request(kOrigin + 1)));
}

TEST(PendingRequestsTest, AnAnsweredRequestMakesRoomForItsOrigin) {
    PendingRequests pending;
    uint16_t tag = 0;
    for (size_t i = 0; i < PendingRequests::kMaxPerOrigin; ++i) {
        tag = pending.add(Request()).value_or(0);
    }

    ASSERT_TRUE(pending.take(kProvider, ReplyWith(tag)));

    EXPECT_TRUE(pending.add(Request()));
}

TEST(PendingRequestsTest, TheNamesOfOneOriginAreLimited) {
    PendingRequests pending;
    PendingRequest request = Request();
    request.name.assign(PendingRequests::kMaxNameBytesPerOrigin / 16, 'n');
    uint16_t tag = 0;
    for (int i = 0; i < 16; ++i) {
        tag = pending.add(request).value_or(0);
        ASSERT_NE(tag, 0);
    }

    EXPECT_FALSE(pending.add(Request()));

    EXPECT_TRUE(pending.add(Request(kOrigin + 1)));
    ASSERT_TRUE(pending.take(kProvider, ReplyWith(tag)));
    EXPECT_TRUE(pending.add(Request()));
}

TEST(PendingRequestsTest, AnOriginWithFewRequestsHasRoomHoweverManyOthersHave) {
    PendingRequests pending;
    uint16_t tag = 0;
    for (ClientId greedy = 1; greedy <= 20; ++greedy) {
        for (auto added = pending.add(Request(greedy)); added; added = pending.add(Request(greedy))) {
            tag = greedy == 1 ? *added : tag;
        }
    }

    for (size_t i = 0; i < PendingRequests::kGuaranteedPerOrigin; ++i) {
        ASSERT_TRUE(pending.add(Request(100))) << i;
    }
    EXPECT_FALSE(pending.add(Request(100)));

    ASSERT_TRUE(pending.take(kProvider, ReplyWith(tag)));
    EXPECT_TRUE(pending.add(Request(100)));
    EXPECT_FALSE(pending.add(Request(100)));
}

TEST(PendingRequestsTest, NothingIsAddedWhenEveryTagIsTaken) {
    PendingRequests pending;
    for (ClientId i = 0; i < 65535; ++i) {
        ASSERT_TRUE(pending.add(Request(i)));
    }

    EXPECT_FALSE(pending.add(Request(65535)));
}

TEST(PendingRequestsTest, ThoseThatHaveWaitedLongEnoughExpire) {
    PendingRequests pending;
    ASSERT_TRUE(pending.add(Request(1, kProvider, 1000)));
    ASSERT_TRUE(pending.add(Request(2, kProvider, 1001)));

    const auto expired = pending.take_expired(1100, 100);

    ASSERT_EQ(expired.size(), 1u);
    EXPECT_EQ(expired[0].origin, 1u);
    EXPECT_EQ(pending.oldest()->origin, 2u);
}

TEST(PendingRequestsTest, ExpiryIsRightAcrossTheWrapOfTheClock) {
    PendingRequests pending;
    ASSERT_TRUE(pending.add(Request(1, kProvider, UINT32_MAX - 10)));

    EXPECT_TRUE(pending.take_expired(5, 100).empty());
    EXPECT_EQ(pending.take_expired(89, 100).size(), 1u);
}

TEST(PendingRequestsTest, ThoseOfAProviderAreTakenInTheirOrder) {
    PendingRequests pending;
    ASSERT_TRUE(pending.add(Request(1, 8)));
    ASSERT_TRUE(pending.add(Request(2, 9)));
    ASSERT_TRUE(pending.add(Request(3, 8)));

    const auto taken = pending.take_of_provider(8);

    ASSERT_EQ(taken.size(), 2u);
    EXPECT_EQ(taken[0].origin, 1u);
    EXPECT_EQ(taken[1].origin, 3u);
    EXPECT_EQ(pending.oldest()->origin, 2u);
}

TEST(PendingRequestsTest, ThoseOfAnOriginAreDropped) {
    PendingRequests pending;
    const auto tag = pending.add(Request());

    pending.drop_origin(kOrigin);

    EXPECT_FALSE(pending.take(kProvider, ReplyWith(*tag)));
    EXPECT_EQ(pending.oldest(), nullptr);
}

TEST(PendingRequestsTest, TellsWhoWaitsForAProvider) {
    PendingRequests pending;
    ASSERT_TRUE(pending.add(Request(1, 8)));
    ASSERT_TRUE(pending.add(Request(1, 8)));
    ASSERT_TRUE(pending.add(Request(2, 8)));
    ASSERT_TRUE(pending.add(Request(3, 9)));

    EXPECT_EQ(pending.origins_waiting_for(8), (std::vector<ClientId>{1, 2}));

    pending.drop_origin(1);

    EXPECT_EQ(pending.origins_waiting_for(8), std::vector<ClientId>{2});
    EXPECT_TRUE(pending.origins_waiting_for(7).empty());
}
