// SPDX-License-Identifier: MIT

// Subscriptions and the table of sessions.

#include <string>

#include <gtest/gtest.h>

#include "tests/support/RestFixture.h"

namespace {

// A request with the cookie of a session.
class CookieRequest : public RecordingRequest {
  public:
    explicit CookieRequest(const std::string& cookie)
        : RecordingRequest("GET", "/api", nullptr), m_cookie(cookie) {}
    char* getRequestCookie(const char*) override { return m_cookie.data(); }

  private:
    std::string m_cookie;
};

class SubscribedSessions : public RestFixture {
  protected:
    SubscribedSessions() {
        now_ms() = 1000;
        HabSessionImpl::setClock([] { return utilities::DateTime(now_ms()); });
        HabSessionImpl::setDroppedCallback(BaseApiController::sessionEnded);
        m_controller.addPathHandler("a", new BasePathHandler);
        m_session = Ask("");
        m_id = m_session->sessionId();
    }
    ~SubscribedSessions() override {
        HabSessionImpl::setClock(nullptr);
        HabSessionImpl::setDroppedCallback([](unsigned int) {});
    }

    static unsigned long long& now_ms() {
        static unsigned long long now = 0;
        return now;
    }
    static HabSession* Ask(const std::string& cookie) {
        CookieRequest request(cookie);
        return HabSessionImpl::sessionForRequest(&request);
    }
    static void FillTable() {
        for (std::size_t i = 0; i < HabSessionImpl::kMaxSessions; ++i) {
            Ask("");
        }
    }
    bool IsInTable() { return Ask(m_id)->sessionId() == m_id; }

    HabSession* m_session = nullptr;
    std::string m_id;
};

}  // namespace

TEST_F(SubscribedSessions, StayInAFullTable) {
    send("POST", "/api/subscriptions/api/a", nullptr, m_session);

    FillTable();

    EXPECT_TRUE(IsInTable());
}

TEST_F(SubscribedSessions, LeaveAFullTableWhenTheirSubscriptionHasEnded) {
    send("POST", "/api/subscriptions/api/a", nullptr, m_session);
    send("DELETE", "/api/subscriptions/api/a", nullptr, m_session);

    FillTable();

    EXPECT_FALSE(IsInTable());
}

TEST_F(SubscribedSessions, LeaveAFullTableWhenTheirResourceHasGone) {
    send("POST", "/api/subscriptions/api/a", nullptr, m_session);
    m_controller.removePathHandler("a");

    FillTable();

    EXPECT_FALSE(IsInTable());
}

TEST_F(SubscribedSessions, LoseTheirSubscriptionsWhenTheyAreDroppedAsExpired) {
    BasePathHandler* const resource = new BasePathHandler;
    m_controller.addPathHandler("b", resource);
    const unsigned int number = m_session->getNumberId();
    send("POST", "/api/subscriptions/api/b", nullptr, m_session);
    ASSERT_NE(resource->getSubscription(number), nullptr);
    now_ms() += 301000;

    FillTable();

    EXPECT_EQ(resource->getSubscription(number), nullptr);
}
