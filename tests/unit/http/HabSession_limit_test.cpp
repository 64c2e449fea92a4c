// SPDX-License-Identifier: MIT

// What a full session table keeps.

#include <algorithm>
#include <chrono>
#include <climits>
#include <list>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FrontEnd.h"
#include "src/http/HabSession.h"

namespace {

constexpr std::size_t kMax = HabSessionImpl::kMaxSessions;
constexpr auto kSubscription = HabSessionImpl::HeldBy::kSubscription;
constexpr auto kConnection = HabSessionImpl::HeldBy::kConnection;

// Clients with and without the cookie of their session, with a timeout of 300 s, on a clock that is turned by hand.
class FullSessionTable : public testing::Test {
  protected:
    FullSessionTable() {
        // What earlier tests have left goes.
        Fill(kMax);
        EndAll();
        now_ms() = 1000;
        HabSessionImpl::setClock([] { return utilities::DateTime(now_ms()); });
        HabSessionImpl::setDroppedCallback([](unsigned int number) { dropped().push_back(number); });
        dropped().clear();
    }
    ~FullSessionTable() override {
        HabSessionImpl::setClock(nullptr);
        HabSessionImpl::setDroppedCallback([](unsigned int) {});
        m_holds.clear();
        EndAll();
    }

    void EndAll() {
        for (const std::string& id : m_ids) {
            HabSessionImpl::sessionEnded(id.c_str());
        }
        m_ids.clear();
    }

    static unsigned long long& now_ms() {
        static unsigned long long now = 0;
        return now;
    }
    static std::vector<unsigned int>& dropped() {
        static std::vector<unsigned int> numbers;
        return numbers;
    }
    static void Advance(unsigned long long seconds) { now_ms() += seconds * 1000; }

    HabSession* Ask(const std::string& cookie) {
        LocalRequest request("GET", "/");
        request.cookie = cookie;
        HabSession* const session = HabSessionImpl::sessionForRequest(&request);
        m_ids.insert(session->sessionId());
        return session;
    }
    HabSession* New() { return Ask(""); }
    void Fill(std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            New();
        }
    }
    void Hold(HabSession* session, HabSessionImpl::HeldBy what) {
        m_holds.push_back(HabSessionImpl::hold(session, what));
    }
    // Whether the table still has it; uses it.
    bool Has(const std::string& id) { return Ask(id)->sessionId() == id; }

    std::set<std::string> m_ids;
    std::list<HabSessionImpl::Hold> m_holds;

  private:
    WebConfiguration m_configuration{R"({"hab.session.timeout": 300})"};
};

}  // namespace

TEST_F(FullSessionTable, DropsNothingUpToItsLimit) {
    const CapturedLog log;
    const std::string first = New()->sessionId();
    Fill(kMax - 1);

    EXPECT_TRUE(Has(first));
    EXPECT_EQ(log.countOf("4 src/HabSession: "), 0);
}

TEST_F(FullSessionTable, KeepsAsManyAsItIsToldTo) {
    HabSessionImpl::setMaxSessions(2);
    const std::vector<std::string> ids{New()->sessionId(), New()->sessionId(), New()->sessionId()};
    HabSessionImpl::setMaxSessions(kMax);

    EXPECT_FALSE(Has(ids[0]));
    EXPECT_TRUE(Has(ids[1]));
    EXPECT_TRUE(Has(ids[2]));
}

TEST_F(FullSessionTable, DropsTheSessionNotUsedForLongest) {
    const std::string first = New()->sessionId();
    const std::string second = New()->sessionId();
    Fill(kMax - 2);
    Ask(first);

    New();

    EXPECT_TRUE(Has(first));
    EXPECT_FALSE(Has(second));
}

TEST_F(FullSessionTable, WritesOneLine) {
    const CapturedLog log;
    Fill(kMax + 100);

    EXPECT_EQ(log.countOf("4 src/HabSession: "), 1);
    EXPECT_TRUE(log.has("4 src/HabSession: 1 new sessions beyond 10000: those not used for longest go"));
}

TEST_F(FullSessionTable, NumbersThatBeginAnewAreNeitherZeroNorThoseInUse) {
    HabSessionImpl::setNextNumberId(1);
    New();
    HabSession* const subscribed = New();
    ASSERT_EQ(subscribed->getNumberId(), 2U);
    Hold(subscribed, kSubscription);
    HabSessionImpl::sessionEnded(subscribed->sessionId());
    HabSessionImpl::sessionEnded(New()->sessionId());  // the third

    HabSessionImpl::setNextNumberId(UINT_MAX);

    EXPECT_EQ(New()->getNumberId(), UINT_MAX);
    EXPECT_EQ(New()->getNumberId(), 3U);
    EXPECT_EQ(New()->getNumberId(), 4U);
}

TEST_F(FullSessionTable, KeepsASessionThatASubscriptionHolds) {
    HabSession* const session = New();
    const std::string id = session->sessionId();
    Hold(session, kSubscription);

    Fill(kMax + 100);

    EXPECT_TRUE(Has(id));
}

TEST_F(FullSessionTable, DropsASessionWhoseSubscriptionsHaveEnded) {
    HabSession* const session = New();
    const std::string id = session->sessionId();
    Hold(session, kSubscription);
    Hold(session, kSubscription);
    m_holds.pop_back();
    Fill(kMax + 100);
    ASSERT_TRUE(Has(id));
    m_holds.pop_back();

    Fill(kMax);

    EXPECT_FALSE(Has(id));
}

TEST_F(FullSessionTable, DropsAnExpiredSessionWithItsSubscriptionsFirst) {
    HabSession* const subscribed = New();
    const unsigned int number = subscribed->getNumberId();
    const std::string id = subscribed->sessionId();
    Hold(subscribed, kSubscription);
    Advance(301);
    const std::string oldest = New()->sessionId();
    Fill(kMax - 2);

    New();

    EXPECT_EQ(dropped(), std::vector<unsigned int>{number});
    EXPECT_TRUE(Has(oldest));
    EXPECT_FALSE(Has(id));
}

TEST_F(FullSessionTable, KeepsTheSessionOfAConnectionAlsoWhenItIsExpired) {
    HabSession* const session = New();
    Hold(session, kSubscription);
    Hold(session, kConnection);
    Advance(301);

    Fill(kMax + 100);

    EXPECT_TRUE(dropped().empty());
    now_ms() -= 301000;
    EXPECT_TRUE(Has(session->sessionId()));
}

TEST_F(FullSessionTable, KeepsTheSessionOfARequestUnderWay) {
    HabSession* const session = New();
    LocalRequest request("POST", "/");
    request.setSession(session);

    Fill(kMax + 100);

    EXPECT_TRUE(Has(session->sessionId()));
}

TEST_F(FullSessionTable, GrowsWhileAllSessionsAreHeldAndShrinksAfterwards) {
    std::vector<std::string> ids;
    for (std::size_t i = 0; i < kMax + 2; ++i) {
        HabSession* const session = New();
        Hold(session, kSubscription);
        ids.push_back(session->sessionId());
    }
    ASSERT_TRUE(Has(ids.front()));
    m_holds.clear();

    New();

    EXPECT_FALSE(Has(ids[1]));
    EXPECT_FALSE(Has(ids[2]));
}

TEST_F(FullSessionTable, DropsTheSubscribedSessionNotUsedForLongestWhenThereAreTwiceAsMany) {
    HabSession* const connected = New();
    const std::string kept = connected->sessionId();
    Hold(connected, kSubscription);
    Hold(connected, kConnection);
    HabSession* const oldest = New();
    const unsigned int number = oldest->getNumberId();
    Hold(oldest, kSubscription);
    for (std::size_t i = 2; i < 2 * kMax; ++i) {
        Hold(New(), kSubscription);
    }
    ASSERT_TRUE(dropped().empty());

    Hold(New(), kSubscription);

    EXPECT_EQ(dropped(), std::vector<unsigned int>{number});
    EXPECT_TRUE(Has(kept));
}

TEST_F(FullSessionTable, MakesANewSessionAsFastAsAnEmptyOneHoweverManyAreHeld) {
    const auto time_of = [this](std::size_t count) {
        const auto start = std::chrono::steady_clock::now();
        Fill(count);
        return std::chrono::steady_clock::now() - start;
    };
    const auto empty = time_of(1000);
    for (std::size_t i = 0; i < kMax; ++i) {
        Hold(New(), kSubscription);
    }

    EXPECT_LT(time_of(1000), 15 * empty);
}

TEST_F(FullSessionTable, ForgetsTheSubscriptionsOfExpiredSessionsBeyondAsManyAsItHolds) {
    HabSessionImpl::setMaxSessions(3);
    std::vector<unsigned int> numbers;
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(dropped().empty());
        HabSession* const session = New();
        const std::string id = session->sessionId();
        numbers.push_back(session->getNumberId());
        Hold(session, kSubscription);
        Advance(301);
        EXPECT_FALSE(Has(id));
    }
    HabSessionImpl::setMaxSessions(kMax);

    EXPECT_EQ(dropped(), std::vector<unsigned int>{numbers[0]});
}

TEST_F(FullSessionTable, LeavesTheSubscriptionsOfAnExpiredSessionToTheConnectionThatHoldsIt) {
    HabSessionImpl::setMaxSessions(1);
    std::vector<unsigned int> numbers;
    for (int i = 0; i < 3; ++i) {
        HabSession* const session = New();
        const std::string id = session->sessionId();
        numbers.push_back(session->getNumberId());
        Hold(session, kSubscription);
        Hold(session, kConnection);
        Advance(301);
        EXPECT_FALSE(Has(id));
    }
    HabSessionImpl::setMaxSessions(kMax);

    for (const unsigned int number : numbers) {
        EXPECT_EQ(std::ranges::count(dropped(), number), 0);
    }
}

TEST_F(FullSessionTable, HoldsNoSessionOutsideOfIt) {
    HabSessionImpl session("outside");

    EXPECT_EQ(HabSessionImpl::hold(&session, kSubscription), nullptr);
}

TEST_F(FullSessionTable, IsLeftBySessionsThatAreStillHeld) {
    HabSession* const session = New();
    const std::string id = session->sessionId();
    Hold(session, kConnection);

    HabSessionImpl::sessionEnded(id.c_str());
    m_holds.clear();

    EXPECT_FALSE(Has(id));
}
