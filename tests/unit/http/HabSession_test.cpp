// SPDX-License-Identifier: MIT

#include "src/http/HabSession.h"

#include <cstdint>
#include <cstring>

#include <memory>
#include <set>
#include <string>

#include <cjson/cJSON.h>
#include <gmock/gmock.h>

#include "HttpFixture.h"
#include "src/base/owners.h"
#include "src/http/HabRequestEvent.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/WebConfiguration.h"

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

constexpr const char* kTimeoutOf300 = R"({"hab.session.timeout": 300})";

// HTTP clients with and without session cookies, on a clock that is turned by hand.
class HabSessions : public HttpFixture {
  protected:
    HabSessions() {
        now_ms() = 1000;
        HabSessionImpl::setClock([] { return utilities::DateTime(now_ms()); });
        onRequest = [this](evhttp_request* req) {
            HabRequestEvent request(req);
            m_session = HabSessionImpl::sessionForRequest(&request);
            request.replyFinish();
        };
    }
    ~HabSessions() override {
        HabSessionImpl::setClock(nullptr);
        for (const std::string& id : m_ids) {
            HabSessionImpl::sessionEnded(id.c_str());
        }
    }

    static unsigned long long& now_ms() {
        static unsigned long long now = 0;
        return now;
    }
    // What the clock shows for a count of its 32 bits: the sign fills the upper half.
    static unsigned long long clock_reading(std::int32_t milliseconds) {
        return static_cast<unsigned long long>(std::int64_t{milliseconds});
    }
    static void advance(unsigned long long seconds) { now_ms() += seconds * 1000; }

    // The answer to a request with the cookie; m_session is the session it was given.
    std::string get(const std::string& cookie) {
        std::string answer =
            connect().exchange("GET / HTTP/1.1\r\nCookie: DRHABSESSID=" + cookie + "\r\n\r\n");
        m_ids.insert(m_session->sessionId());
        return answer;
    }
    // The id of the session that a request with the cookie is given.
    std::string sessionOf(const std::string& cookie) {
        get(cookie);
        return m_session->sessionId();
    }

    HabSession* m_session = nullptr;
    std::set<std::string> m_ids;
};

class HabSessionsWithTimeout : public HabSessions {
    WebConfiguration m_configuration{kTimeoutOf300};
};

class HabSessionsWithoutTimeout : public HabSessions {
    WebConfiguration m_configuration{R"({"hab.session.timeout": 0})"};
};

class HabSessionImplJson : public testing::Test {
  protected:
    static std::string printed(HabSession& session) {
        const JsonPtr json(session.toJson());
        return JsonText(cJSON_PrintUnformatted(json.get())).get();
    }
    static std::unique_ptr<HabSessionImpl> read(const char* text) {
        const JsonPtr json(cJSON_Parse(text));
        return std::unique_ptr<HabSessionImpl>(HabSessionImpl::sessionFromJson(json.get()));
    }
    HabSessionImplJson() {
        HabSessionImpl::setClock([] { return utilities::DateTime(5000); });
    }
    ~HabSessionImplJson() override { HabSessionImpl::setClock(nullptr); }

    WebConfiguration m_configuration{kTimeoutOf300};
};

}  // namespace

TEST_F(HabSessionsWithTimeout, BeginWithARequestWithoutCookie) {
    const std::string answer = connect().exchange("GET / HTTP/1.1\r\n\r\n");
    m_ids.insert(m_session->sessionId());

    EXPECT_THAT(m_session->sessionId(), MatchesRegex("[0-9a-f]{32}"));
    EXPECT_THAT(answer, HasSubstr(std::string("\r\nSet-Cookie: DRHABSESSID=") + m_session->sessionId() +
                                  "; Path=/\r\n"));
}

TEST_F(HabSessionsWithTimeout, BeginWithAnEmptyCookie) {
    EXPECT_THAT(get(""), HasSubstr("Set-Cookie"));
}

TEST_F(HabSessionsWithTimeout, StartWithNothing) {
    get("");

    EXPECT_EQ(m_session->getAccessLevel(), 0);
    EXPECT_EQ(m_session->getHitCounts(), 0U);
    EXPECT_EQ(m_session->getAuthName(), nullptr);
}

TEST_F(HabSessionsWithTimeout, AreFoundByTheirCookie) {
    const std::string id = sessionOf("");
    HabSession* const session = m_session;

    const std::string answer = get(id);

    EXPECT_EQ(m_session, session);
    EXPECT_THAT(answer, Not(HasSubstr("Set-Cookie")));
}

TEST_F(HabSessionsWithTimeout, KeepWhatWasSet) {
    const std::string id = sessionOf("");
    m_session->setAccessLevel(3);
    m_session->setHitCounts(7);
    m_session->setAuthName("admin");

    get(id);

    EXPECT_EQ(m_session->getAccessLevel(), 3);
    EXPECT_EQ(m_session->getHitCounts(), 7U);
    EXPECT_STREQ(m_session->getAuthName(), "admin");
}

TEST_F(HabSessionsWithTimeout, TakeTheTimeOfTheirLatestRequest) {
    const std::string id = sessionOf("");
    advance(10);

    get(id);

    EXPECT_EQ(m_session->getRequestStartTime().milliseconds(), 11000U);
}

TEST_F(HabSessionsWithTimeout, HaveRisingNumbers) {
    get("");
    const unsigned int first = m_session->getNumberId();

    get("");

    EXPECT_EQ(m_session->getNumberId(), first + 1);
}

TEST_F(HabSessionsWithTimeout, HaveIdsThatDoNotRepeat) {
    const std::string first = sessionOf("");

    EXPECT_NE(sessionOf(""), first);
}

TEST_F(HabSessionsWithTimeout, NeverTakeAnUnknownId) {
    const std::string unknown(32, 'a');

    const std::string answer = get(unknown);

    EXPECT_NE(m_session->sessionId(), unknown);
    EXPECT_THAT(answer, HasSubstr(std::string("Set-Cookie: DRHABSESSID=") + m_session->sessionId()));
    EXPECT_NE(sessionOf(unknown), unknown);
}

TEST_F(HabSessionsWithTimeout, AreValidUpToTheTimeout) {
    const std::string id = sessionOf("");
    advance(300);

    EXPECT_EQ(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, ExpireASecondLater) {
    const CapturedLog log;
    const std::string id = sessionOf("");
    advance(301);

    const std::string answer = get(id);

    EXPECT_NE(m_session->sessionId(), id);
    EXPECT_THAT(answer, HasSubstr("Set-Cookie"));
    EXPECT_TRUE(log.has("6 src/HabSession: SESSION EXPIRED! id=" + id));
    EXPECT_TRUE(log.has("3 src/HabSession: Existing session with id " + id + " has expired"));
    EXPECT_TRUE(log.has("7 src/HabSession: ~HabSessionImpl(" + id + ")"));
}

TEST_F(HabSessionsWithTimeout, CountTheTimeoutFromTheLatestRequest) {
    const std::string id = sessionOf("");
    advance(200);
    get(id);
    advance(200);

    EXPECT_EQ(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, DoNotExpireWhenTheClockChangesItsSign) {
    now_ms() = 0x7fffffff - 500;
    const std::string id = sessionOf("");
    now_ms() = clock_reading(INT32_MIN + 500);

    EXPECT_EQ(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, ExpireAcrossTheClocksSignChange) {
    now_ms() = 0x7fffffff - 500;
    const std::string id = sessionOf("");
    now_ms() = clock_reading(INT32_MIN + 301000);

    EXPECT_NE(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, AreForgottenWhenEnded) {
    const CapturedLog log;
    const std::string id = sessionOf("");

    HabSessionImpl::sessionEnded(id.c_str());

    EXPECT_TRUE(log.has("3 src/HabSession: Existing session with id " + id + " has ended"));
    EXPECT_NE(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, NeedNotExistToBeEnded) {
    const CapturedLog log;

    HabSessionImpl::sessionEnded("unknown");

    EXPECT_FALSE(log.has("3 src/HabSession: Existing session with id unknown has ended"));
}

TEST_F(HabSessionsWithTimeout, OutliveTheirEndInARequest) {
    const std::string id = sessionOf("");
    HabRequestEvent request(nullptr);
    request.setSession(m_session);

    HabSessionImpl::sessionEnded(id.c_str());

    EXPECT_EQ(request.getSession()->sessionId(), id);
}

TEST_F(HabSessionsWithTimeout, CanBeReplaced) {
    std::string id = sessionOf("");
    auto* replacement = HabSessionImpl::sessionForId(id.c_str());

    HabSessionImpl::setSessionForId(replacement, strdup(id.c_str()));

    get(id);
    EXPECT_EQ(m_session, replacement);
}

TEST_F(HabSessionsWithTimeout, AreNotAddedByAReplacementOfNone) {
    const std::unique_ptr<HabSessionImpl> session(HabSessionImpl::sessionForId("none"));
    const MallocedText id(strdup("none"));

    HabSessionImpl::setSessionForId(session.get(), id.get());

    EXPECT_NE(sessionOf("none"), "none");
}

TEST_F(HabSessionsWithoutTimeout, NeverExpire) {
    const std::string id = sessionOf("");
    advance(2000000);

    EXPECT_EQ(sessionOf(id), id);
}

TEST_F(HabSessionsWithTimeout, HaveIdsForRequestsWithoutAPeer) {
    HabRequestEvent request(nullptr);

    const MallocedText id(HabSessionImpl::generateSessionId(&request));
    const MallocedText other(HabSessionImpl::generateSessionId(&request));

    EXPECT_THAT(id.get(), MatchesRegex("[0-9a-f]{32}"));
    EXPECT_STRNE(id.get(), other.get());
}

TEST_F(HabSessionImplJson, HoldsWhatASessionIs) {
    HabSessionImpl session("0123");
    session.setHitCounts(4);
    session.setAuthName("admin");
    session.setAccessLevel(2);

    EXPECT_EQ(printed(session), R"({"sessionID":"0123","hitCount":4,"authName":"admin","accessLevel":2,)"
                                R"("reqStartTime":5000,"updated":5000})");
}

TEST_F(HabSessionImplJson, LeavesOutAnAbsentName) {
    HabSessionImpl session("0123");
    session.setAuthName("admin");
    session.setAuthName(nullptr);

    EXPECT_THAT(printed(session), Not(HasSubstr("authName")));
}

TEST_F(HabSessionImplJson, MakesTheSessionAgain) {
    const auto session =
        read(R"({"sessionID":"0123","hitCount":4,"authName":"admin","accessLevel":2,"reqStartTime":77})");

    EXPECT_STREQ(session->sessionId(), "0123");
    EXPECT_EQ(session->getHitCounts(), 4U);
    EXPECT_STREQ(session->getAuthName(), "admin");
    EXPECT_EQ(session->getAccessLevel(), 2);
    EXPECT_EQ(session->getRequestStartTime().milliseconds(), 77U);
}

TEST_F(HabSessionImplJson, MarksTheNewSessionAsUsedNow) {
    const auto session = read(R"({"sessionID":"0123","updated":1})");

    EXPECT_THAT(printed(*session), HasSubstr(R"("updated":5000)"));
}

TEST_F(HabSessionImplJson, TakesNoSerialNumber) {
    const HabSessionImpl before("0123");

    const auto session = read(R"({"sessionID":"0123"})");

    const HabSessionImpl after("0123");
    EXPECT_EQ(session->getNumberId(), 0U);
    EXPECT_EQ(after.getNumberId(), before.getNumberId() + 1);
}

TEST_F(HabSessionImplJson, SkipsMembersOfTheWrongType) {
    const auto session =
        read(R"({"sessionID":1,"hitCount":"4","authName":[],"accessLevel":"2","reqStartTime":-1e300})");

    EXPECT_EQ(session->sessionId(), nullptr);
    EXPECT_EQ(session->getHitCounts(), 0U);
    EXPECT_EQ(session->getAuthName(), nullptr);
    EXPECT_EQ(session->getAccessLevel(), 0);
    EXPECT_EQ(session->getRequestStartTime().milliseconds(), 0U);
}

TEST_F(HabSessionImplJson, BoundsATimeBeyondTheClock) {
    const auto session = read(R"({"reqStartTime":1e300})");

    EXPECT_EQ(session->getRequestStartTime().milliseconds(), UINT64_MAX);
}

TEST_F(HabSessionImplJson, GivesTheConfiguredTimeout) {
    const auto session = read(R"({"sessionID":"0123"})");

    HabSessionImpl::setClock([] { return utilities::DateTime(5000 + 301 * 1000); });

    EXPECT_TRUE(session->isExpired());
}

TEST_F(HabSessionImplJson, NeedsAnId) {
    const auto session = read("{}");

    EXPECT_DEATH(JsonPtr(session->toJson()), "m_sessionId != __null");
}
