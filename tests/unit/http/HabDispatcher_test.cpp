// SPDX-License-Identifier: MIT

#include "src/http/HabDispatcher.h"

#include <climits>
#include <stdexcept>

#include "FrontEnd.h"
#include "src/http/HabTimer.h"

namespace {

constexpr unsigned int kGet = 1;
constexpr unsigned int kAllMethods = 15;
constexpr const char* kApi = "/api/#main_res/#sub1";

class HabDispatcherTest : public FrontEnd {
  protected:
    int Register(const char* uri, unsigned int methods = kAllMethods) {
        return HabDispatcher::registerUri(uri, methods, &m_handler);
    }

    CountingHandler m_handler;
};

// Sets the counter, which nothing in the program changes.
class CountedDispatcher : public HabDispatcher {
  public:
    explicit CountedDispatcher(int count) { registeredHandlers = count; }
    CountedDispatcher(const CountedDispatcher&) = delete;
    CountedDispatcher& operator=(const CountedDispatcher&) = delete;
    ~CountedDispatcher() { registeredHandlers = 0; }
};

class NamedTimer : public HabTimer {
  public:
    NamedTimer(std::string& calls, char name) : m_calls(calls), m_name(name) {}
    void onTime() override { m_calls += m_name; }

  private:
    std::string& m_calls;
    char m_name;
};

}  // namespace

// Templates.

TEST_F(HabDispatcherTest, TurnsOptionalPlaceholdersIntoOptionalGroups) {
    Register(kApi);
    LocalRequest request("GET", "/api/system");

    HabDispatcher::setHandler(&request);

    EXPECT_STREQ(request.getMatchEx(), "/api/([0-9a-zA-Z\\-]+)?/?([0-9a-zA-Z\\-]+)?");
}

TEST_F(HabDispatcherTest, TurnsRequiredPlaceholdersIntoGroupsThatMustMatch) {
    Register("/api/:id/:part");
    LocalRequest request("GET", "/api/7/b");

    HabDispatcher::setHandler(&request);

    EXPECT_STREQ(request.getMatchEx(), "/api/([0-9a-zA-Z\\-]+)/([0-9a-zA-Z\\-]+)");
}

TEST_F(HabDispatcherTest, MakesASlashAtTheEndOfTheTemplatePartOfTheName) {
    Register("/api/#id/");
    LocalRequest request("GET", "/api/7");

    HabDispatcher::setHandler(&request);

    EXPECT_EQ(request.parameter("id/"), "7");
}

TEST_F(HabDispatcherTest, LeavesDotsOfATemplateWildcards) {
    Register("/a.b");
    LocalRequest request("GET", "/axb");

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);
}

TEST_F(HabDispatcherTest, AnswersOneForARegistration) {
    EXPECT_EQ(Register(kApi), 1);
}

TEST_F(HabDispatcherTest, RegisterHandlerDoesTheSame) {
    EXPECT_EQ(HabDispatcher::registerHandler("/a", kAllMethods, &m_handler), 1);

    LocalRequest request("GET", "/a");
    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);
}

TEST_F(HabDispatcherTest, RefusesATemplateThatDoesNotCompile) {
    const CapturedLog log;

    EXPECT_EQ(Register("/api/("), 0);

    EXPECT_TRUE(log.has("3 src/HabDispatcher: registerUri regcomp failed: '/api/('"));
}

TEST_F(HabDispatcherTest, TakesAPatternThatJustFits) {
    EXPECT_EQ(Register(std::string(203, 'a').c_str()), 1);
}

TEST_F(HabDispatcherTest, RefusesATemplateWhosePatternIsTooLong) {
    EXPECT_EQ(Register(std::string(204, 'a').c_str()), 0);
}

TEST_F(HabDispatcherTest, RegistersEachTemplateOfAListAndAnswersMinusOne) {
    const std::list<std::string> uris = {"/first", "/second"};
    LocalRequest request("GET", "/second");

    EXPECT_EQ(HabDispatcher::registerUri(uris, kAllMethods, &m_handler), -1);

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);
}

TEST_F(HabDispatcherTest, RegistersAtACountOfNineteen) {
    const CountedDispatcher counted(19);

    EXPECT_EQ(Register("/a"), 1);
}

TEST_F(HabDispatcherTest, RefusesRegistrationsAtACountOfTwenty) {
    const CountedDispatcher counted(20);

    EXPECT_EQ(Register("/a"), -1);
}

TEST_F(HabDispatcherTest, DoesNotCountRegistrations) {
    for (int i = 0; i < 30; ++i) {
        Register("/a");
    }

    EXPECT_EQ(Register("/b"), 1);
}

// Matching.

TEST_F(HabDispatcherTest, StoresTheSegmentsUnderTheirNames) {
    Register(kApi);
    LocalRequest request("GET", "/api/system/status");

    HabDispatcher::setHandler(&request);

    EXPECT_EQ(request.parameter("main_res"), "system");
    EXPECT_EQ(request.parameter("sub1"), "status");
}

TEST_F(HabDispatcherTest, MatchesTheBareApiPathWithoutParameters) {
    Register(kApi);
    LocalRequest request("GET", "/api");

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);

    EXPECT_EQ(request.parameter("main_res"), "(none)");
}

TEST_F(HabDispatcherTest, MatchesAnywhereInTheUri) {
    Register(kApi);
    LocalRequest request("GET", "/x/api/system");

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);

    EXPECT_EQ(request.parameter("main_res"), "system");
}

TEST_F(HabDispatcherTest, StoresTheSameSegmentsForAUriThatComesAgain) {
    Register(kApi);
    LocalRequest first("GET", "/api/system/status");
    HabDispatcher::setHandler(&first);
    LocalRequest again("GET", "/api/system/status", "main_res=closed");

    HabDispatcher::setHandler(&again);

    EXPECT_EQ(again.parameter("main_res"), "system");
    EXPECT_EQ(again.parameter("sub1"), "status");
}

TEST_F(HabDispatcherTest, RemembersABoundedNumberOfUrisPerEntry) {
    HabHandlerListEntry entry;
    ASSERT_EQ(regcomp(&entry.regex, "/api/([a-z0-9]+)", REG_EXTENDED), 0);
    entry.compiled = true;
    entry.names = {"main_res"};
    LocalRequest request("GET", "/api/x");

    for (int i = 0; i < 1000; ++i) {
        HabDispatcher::matchCheck(&request, ("/api/" + std::to_string(i)).c_str(), &entry);
    }
    HabDispatcher::matchCheck(&request, ("/api/" + std::string(400, 'x')).c_str(), &entry);

    EXPECT_LE(entry.recent.size(), 128U);
    EXPECT_EQ(request.parameter("main_res").size(), 400U);
}

TEST_F(HabDispatcherTest, RemembersThatAUriDoesNotMatch) {
    HabHandlerListEntry entry;
    ASSERT_EQ(regcomp(&entry.regex, "/api/([a-z0-9]+)", REG_EXTENDED), 0);
    entry.compiled = true;
    entry.names = {"main_res"};
    LocalRequest request("GET", "/other");

    EXPECT_EQ(HabDispatcher::matchCheck(&request, "/other", &entry), 0);
    EXPECT_EQ(entry.recent.count("/other"), 1U);
    EXPECT_EQ(HabDispatcher::matchCheck(&request, "/other", &entry), 0);
}

TEST_F(HabDispatcherTest, NeverTakesAPlaceholderFromTheQueryString) {
    Register(kApi);
    LocalRequest request("GET", "/api", "main_res=closed&sub1=x&other=1");

    HabDispatcher::setHandler(&request);

    EXPECT_EQ(request.parameter("main_res"), "(none)");
    EXPECT_EQ(request.parameter("sub1"), "(none)");
    EXPECT_EQ(request.parameter("other"), "1");
}

TEST_F(HabDispatcherTest, TriesTheNextEntryWhenTheMethodDoesNotFit) {
    CountingHandler writer;
    Register(kApi, kGet);
    HabDispatcher::registerUri(kApi, 2, &writer);
    LocalRequest request("PUT", "/api/system");

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(m_handler.requests, 0);
    EXPECT_EQ(writer.requests, 1);
}

TEST_F(HabDispatcherTest, GivesTheRequestToTheFirstEntryThatMatches) {
    CountingHandler second;
    Register(kApi);
    HabDispatcher::registerUri(kApi, kAllMethods, &second);
    LocalRequest request("GET", "/api");

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(m_handler.requests, 1);
    EXPECT_EQ(second.requests, 0);
}

TEST_F(HabDispatcherTest, PassesOverAnEntryWithoutMethods) {
    Register(kApi, 0);
    LocalRequest request("GET", "/api");

    EXPECT_EQ(HabDispatcher::setHandler(&request), 0);
}

TEST_F(HabDispatcherTest, MatchesALongUriInALinearWay) {
    Register("/system/#main_res/#sub1/#sub2/#sub3/#sub4/#sub5/#sub6/#sub7");
    const std::string uri = "/system/" + std::string(500, 'a') + "/b";
    LocalRequest request("GET", uri.c_str());

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);

    EXPECT_EQ(request.parameter("sub1"), "b");
}

TEST_F(HabDispatcherTest, MatchesNothingWithAUriOfMoreThan512Bytes) {
    Register("/system/#main_res");
    const std::string uri = "/system/" + std::string(505, 'a');
    LocalRequest request("GET", uri.c_str());

    EXPECT_EQ(HabDispatcher::setHandler(&request), 0);
}

TEST(HabDispatcherMatchCheck, ThrowsForAGroupThatHasNoName) {
    HabHandlerListEntry entry;
    regcomp(&entry.regex, "/(a)/([a-z]+)", REG_EXTENDED);
    entry.compiled = true;
    entry.names = {"name"};
    LocalRequest request("GET", "/a/b");

    EXPECT_THROW(HabDispatcher::matchCheck(&request, "/a/b", &entry), std::out_of_range);
}

TEST(HabDispatcherMatchCheck, AnswersZeroForAUriThatDoesNotMatch) {
    HabHandlerListEntry entry;
    regcomp(&entry.regex, "/a", REG_EXTENDED);
    entry.compiled = true;
    LocalRequest request("GET", "/b");

    EXPECT_EQ(HabDispatcher::matchCheck(&request, "/b", &entry), 0);
}

// Session and access.

TEST_F(HabDispatcherTest, BindsTheSessionToTheRequest) {
    Register(kApi);
    LocalRequest request("GET", "/api");

    HabDispatcher::setHandler(&request);

    ASSERT_NE(request.getSession(), nullptr);
    EXPECT_EQ(request.cookie, request.getSession()->sessionId());
}

TEST_F(HabDispatcherTest, ServesTheDefaultLocationForASlash) {
    Register("/index.html");
    LocalRequest request("GET", "/");

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(m_handler.requests, 1);
    EXPECT_STREQ(request.getURI(), "/index.html");
}

TEST_F(HabDispatcherTest, AnswersNotFoundOnceWhenNothingMatches) {
    LocalRequest request("GET", "/nothing");

    EXPECT_EQ(HabDispatcher::setHandler(&request), 0);

    EXPECT_EQ(request.answers, std::vector<int>{404});
}

TEST_F(HabDispatcherTest, FindsNoHandlerForARequestWithoutUri) {
    Register(kApi);
    LocalRequest request("GET", nullptr);

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(request.answers, (std::vector<int>{404, 404}));
}

TEST_F(HabDispatcherTest, AnswersUnauthorizedAndThenNotFoundWithoutTheLevel) {
    Register("/system/#main_res");
    LocalRequest request("GET", "/system/closed");

    EXPECT_EQ(HabDispatcher::dispatchRequest(&request), -1);

    EXPECT_EQ(request.answers, (std::vector<int>{401, 404}));
    EXPECT_EQ(m_handler.requests, 0);
}

TEST_F(HabDispatcherTest, OpensToASessionThatHasTheLevel) {
    Register("/system/#main_res");
    LocalRequest login("GET", "/system");
    HabDispatcher::setHandler(&login);
    login.getSession()->setAccessLevel(2);
    LocalRequest request("GET", "/system/closed");
    request.cookie = login.cookie;

    EXPECT_EQ(HabDispatcher::setHandler(&request), 1);
}

TEST_F(HabDispatcherTest, DoesNotLetAPrefixOpenWhatTheMatchedPartKeepsClosed) {
    Register("/system/#main_res");
    LocalRequest request("GET", "/x/system/closed");

    EXPECT_EQ(HabDispatcher::setHandler(&request), -1);
}

TEST_F(HabDispatcherTest, DoesNotLetAPrefixOpenTheBarePathEither) {
    Register("/system/closed/#main_res");
    LocalRequest request("GET", "/x/system/closed");

    EXPECT_EQ(HabDispatcher::setHandler(&request), -1);
}

TEST_F(HabDispatcherTest, LogsTheLevelThatIsRequired) {
    Register("/system/#main_res", 1 | 4);
    LocalRequest request("GET", "/x/system/closed");
    const CapturedLog log;

    HabDispatcher::setHandler(&request);

    EXPECT_TRUE(
        log.has("7 src/HabDispatcher: #0: Match: /system/([0-9a-zA-Z\\-]+)? Methods: GetPost Request: "
                "/x/system/closed, "
                "AccessLevels required: 2, sessions: 0"));
}

TEST_F(HabDispatcherTest, ForgetsASessionThatHasEnded) {
    Register(kApi);
    LocalRequest first("GET", "/api");
    HabDispatcher::setHandler(&first);
    LocalRequest second("GET", "/api");
    second.cookie = first.cookie;

    HabDispatcher::sessionEnded(first.cookie.c_str());
    HabDispatcher::setHandler(&second);

    EXPECT_NE(second.cookie, first.cookie);
}

// Dispatching.

TEST_F(HabDispatcherTest, LeavesTheAnswerToTheHandler) {
    Register(kApi);
    LocalRequest request("GET", "/api");

    EXPECT_EQ(HabDispatcher::dispatchRequest(&request), -1);

    EXPECT_EQ(request.answers, std::vector<int>{200});
}

TEST_F(HabDispatcherTest, AnswersNotFoundWhenTheHandlerDoesNotHandle) {
    CountingHandler idle(0);
    HabDispatcher::registerUri(kApi, kAllMethods, &idle);
    LocalRequest request("GET", "/api");

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(request.answers, std::vector<int>{404});
}

TEST_F(HabDispatcherTest, DoesNotLookForAHandlerTwice) {
    Register(kApi);
    LocalRequest request("GET", "/api");
    HabDispatcher::setHandler(&request);
    request.cookie.clear();

    HabDispatcher::dispatchRequest(&request);

    EXPECT_EQ(request.cookie, "");
    EXPECT_EQ(m_handler.requests, 1);
}

// Timers.

class HabDispatcherTimers : public FrontEnd {
  protected:
    std::string m_calls;
    NamedTimer m_a{m_calls, 'a'};
    NamedTimer m_b{m_calls, 'b'};
};

TEST_F(HabDispatcherTimers, AreServedInTheOrderOfTheirTimes) {
    HabDispatcher::registerTimer(&m_a, 20);
    HabDispatcher::registerTimer(&m_b, 10);

    HabDispatcher::serviceTimers();

    EXPECT_EQ(m_calls, "ba");
}

TEST_F(HabDispatcherTimers, GoInFrontOfOlderOnesOfTheSameTime) {
    HabDispatcher::registerTimer(&m_a, 10);
    HabDispatcher::registerTimer(&m_b, 10);

    HabDispatcher::serviceTimers();

    EXPECT_EQ(m_calls, "ba");
}

TEST_F(HabDispatcherTimers, KeepTheirOrderWhenTheTimesPassTheLargestInt) {
    HabDispatcher::registerTimer(&m_a, INT_MIN);
    HabDispatcher::registerTimer(&m_b, INT_MAX);

    HabDispatcher::serviceTimers();

    EXPECT_EQ(m_calls, "ba");
}

TEST_F(HabDispatcherTimers, StayRegisteredWhenServed) {
    EXPECT_EQ(HabDispatcher::registerTimer(&m_a, 10), 1);

    HabDispatcher::serviceTimers();
    HabDispatcher::serviceTimers();

    EXPECT_EQ(m_calls, "aa");
}
