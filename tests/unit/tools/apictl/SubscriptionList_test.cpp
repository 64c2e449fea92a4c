// SPDX-License-Identifier: MIT

#include "tools/apictl/SubscriptionList.h"

#include <gmock/gmock.h>

#include "CommandFixture.h"

namespace {

using testing::HasSubstr;

constexpr const char* kNone = R"("result": {"code": 200, "data": []})";
constexpr const char* kInfo =
    R"("result": {"code": 200, "data": [{"api_path": "/system/info", "recursive": true, "data_include": "NONE"}]})";
constexpr const char* kTest =
    R"("result": {"code": 200, "data": [{"api_path": "/example/test", "recursive": false, "data_include": "ALL"}]})";

class SubscriptionListTest : public CommandFixture {
  protected:
    SubscriptionListTest() { m_command.verb = CommandLine::Verb::kSubscriptions; }
    ExitStatus Run() {
        const ExitStatus status = SubscriptionList(m_command, m_interruption, m_output).run();
        m_api.Await();
        return status;
    }
    // One answer for each request, in turn; the requests are kept.
    void PlayAnswers(std::vector<std::string_view> bodies) {
        m_api.Play([this, bodies](ApiPeer& daemon) {
            for (const std::string_view body : bodies) {
                m_requests.push_back(daemon.Serve(body));
            }
        });
    }

    std::vector<std::string> m_requests;
};

}  // namespace

TEST_F(SubscriptionListTest, ReadsTheListOfEveryApi) {
    PlayAnswers({kNone, kNone});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    ASSERT_EQ(m_requests.size(), 2U);
    EXPECT_THAT(m_requests[0], HasSubstr(R"("method":"read","params":{"path":"/example/subscriptions"})"));
    EXPECT_THAT(m_requests[1], HasSubstr(R"("method":"read","params":{"path":"/system/subscriptions"})"));
}

TEST_F(SubscriptionListTest, SaysWhyTheListOfANewConnectionIsEmpty) {
    PlayAnswers({kNone, kNone});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_EQ(Printed(), "[]\n");
    EXPECT_EQ(Complaints(),
              "apictl: a subscription is seen by its own connection alone, and this one was new\n");
}

TEST_F(SubscriptionListTest, SubscribesThePathsAndListsWhatTheDaemonMadeOfThem) {
    m_command.paths = {"/system/info"};
    m_command.is_recursive = true;
    m_command.include = "NONE";
    PlayAnswers({kCreatedBody, kTest, kInfo});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(m_requests.front(), HasSubstr(R"("path":"/system/subscriptions/system/info",)"
                                              R"("data":{"recursive":true,"data_include":"NONE"})"));
    EXPECT_EQ(Printed(), R"([{"api_path":"/example/test","recursive":false,"data_include":"ALL"},)"
                         R"({"api_path":"/system/info","recursive":true,"data_include":"NONE"}])"
                         "\n");
    EXPECT_EQ(Complaints(), "");
}

TEST_F(SubscriptionListTest, ReadsTheApiOfAPathToo) {
    m_command.paths = {"/other/thing"};
    PlayAnswers({kCreatedBody, kNone, kNone, kNone});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(m_requests[2], HasSubstr(R"("path":"/other/subscriptions")"));
}

TEST_F(SubscriptionListTest, AnApiThatIsNotServedIsPassedOver) {
    m_command.paths = {"/system/info"};
    PlayAnswers({kCreatedBody, kNotFoundBody, kInfo});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(Printed(), HasSubstr("/system/info"));
    EXPECT_EQ(Complaints(), "");
}

TEST_F(SubscriptionListTest, WhenNoApiIsServedTheStatusIsOne) {
    PlayAnswers({kNotFoundBody, kNotFoundBody});

    EXPECT_EQ(Run(), ExitStatus::kRefused);

    EXPECT_EQ(Printed(), "");
    EXPECT_EQ(Complaints(), "apictl: 404 Not Found\n");
}

TEST_F(SubscriptionListTest, ARefusedPathEndsItWithStatusOne) {
    m_command.paths = {"/system/none"};
    PlayAnswers({kNotFoundBody});

    EXPECT_EQ(Run(), ExitStatus::kRefused);

    EXPECT_EQ(Complaints(), "apictl: /system/none: 404 Not Found\n");
}

TEST_F(SubscriptionListTest, PrintsTheWholeAnswersWhenAsked) {
    m_command.is_raw = true;
    PlayAnswers({kNone, kNotFoundBody});

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_EQ(Printed(), "{\"jsonrpc\":\"2.0\",\"result\":{\"code\":200,\"data\":[]},\"id\":1}\n");
}

TEST_F(SubscriptionListTest, TheEndOfTheConnectionIsStatusThree) {
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kNone);
        daemon.Receive();
        daemon.Hang();
    });

    EXPECT_EQ(Run(), ExitStatus::kUnreachable);

    EXPECT_EQ(Printed(), "");
    EXPECT_EQ(Complaints(), "apictl: the connection has ended\n");
}
