// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>

#include "ProgramFixture.h"

namespace {

using testing::EndsWith;
using testing::MatchesRegex;

constexpr const char* kHello = R"({"path": "/example/test", "data": {"a": "hello"}})";

class ApictlWatch : public ProgramFixture {
  protected:
    // Accepts the program's connection and its subscription.
    ApiPeer Subscribed() {
        ApiPeer daemon = m_api.Accept();
        m_request = daemon.Serve(kCreatedBody);
        return daemon;
    }
    static bool Ended(Program& program) { return program.awaitEnd() == 0; }

    std::string m_request;
};

}  // namespace

TEST_F(ApictlWatch, PrintsAChangeWhileItGoesOn) {
    Program program = Start({"watch", "/example/test", "--recursive"});
    ApiPeer daemon = Subscribed();

    daemon.Notify("Updated", kHello);

    EXPECT_TRUE(program.awaitOutput("{\"a\":\"hello\"}\n"));
    EXPECT_TRUE(program.isRunning());
    EXPECT_THAT(program.output(), MatchesRegex("[0-9]+-[0-9]+-[0-9]+T[0-9]+:[0-9]+:[0-9]+[.][0-9][0-9][0-9] "
                                               "Updated /example/test [{]\"a\":\"hello\"[}]\n"));
    EXPECT_THAT(m_request, testing::HasSubstr(R"("data":{"recursive":true,"data_include":"ALL"})"));
}

TEST_F(ApictlWatch, SigintAndSigtermAreItsNormalEnd) {
    for (const int signal : {SIGINT, SIGTERM}) {
        Program program = Start({"watch", "/example/test"});
        ApiPeer daemon = Subscribed();
        daemon.Notify("Updated", kHello);
        ASSERT_TRUE(program.awaitOutput("hello"));

        program.signal(signal);

        EXPECT_TRUE(Ended(program)) << signal;
        EXPECT_EQ(Complaints(), "");
    }
}

TEST_F(ApictlWatch, SigintEndsItWhileTheDaemonDoesNotAnswer) {
    Program program = Start({"watch", "/example/test"});
    ApiPeer daemon = m_api.Accept();
    daemon.Receive();

    program.signal(SIGINT);

    EXPECT_TRUE(Ended(program));
}

// A shell without job control starts its background jobs so.
TEST_F(ApictlWatch, SigintEndsItThoughItWasStartedWithTheSignalIgnored) {
    Program program = Shell(R"(trap '' INT; exec "$APICTL" watch /example/test)");
    ApiPeer daemon = Subscribed();
    daemon.Notify("Updated", kHello);
    ASSERT_TRUE(program.awaitOutput("hello"));

    program.signal(SIGINT);

    EXPECT_TRUE(Ended(program));
}

TEST_F(ApictlWatch, EndsAfterItsCount) {
    Program program = Start({"watch", "/example/test", "--count", "2"});
    ApiPeer daemon = Subscribed();

    daemon.Notify("Updated", kHello);
    daemon.Notify("Deleted", R"({"path": "/example/test"})");

    EXPECT_TRUE(Ended(program));
    EXPECT_THAT(program.output(), EndsWith(" Deleted /example/test\n"));
}

TEST_F(ApictlWatch, EndsAfterATimeoutWithoutALineWithStatusOne) {
    Program program = Start({"watch", "/example/test", "--timeout", "1"});
    const ApiPeer daemon = Subscribed();

    EXPECT_EQ(WEXITSTATUS(program.awaitEnd().value_or(0)), 1);
    EXPECT_EQ(program.output(), "");
    EXPECT_EQ(Complaints(), "");
}

TEST_F(ApictlWatch, EndsQuietlyWithTheReaderOfItsOutput) {
    Program program = Shell(R"({ "$APICTL" watch /example/test; echo "status $?" >&2; } | head -n 1)");
    ApiPeer daemon = Subscribed();

    daemon.Notify("Updated", kHello);

    EXPECT_TRUE(Ended(program));
    EXPECT_THAT(program.output(), EndsWith("{\"a\":\"hello\"}\n"));
    EXPECT_EQ(Complaints(), "status 0\n");
}

TEST_F(ApictlWatch, EndsAtOnceWhenItHasNoOutput) {
    Program program = Shell(R"("$APICTL" watch /example/test >&-)");
    const ApiPeer daemon = m_api.Accept();

    EXPECT_TRUE(Ended(program));
    EXPECT_EQ(Complaints(), "");
}

TEST_F(ApictlWatch, ARefusedPathIsStatusOne) {
    Program program = Start({"watch", "/example/none"});

    m_api.Accept().Serve(kNotFoundBody);

    EXPECT_EQ(StatusOf(program), 1);
    EXPECT_EQ(Complaints(), "apictl: /example/none: 404 Not Found\n");
}

TEST_F(ApictlWatch, TheEndOfTheDaemonIsStatusThree) {
    Program program = Start({"watch", "/example/test"});
    ApiPeer daemon = Subscribed();

    daemon.Hang();

    EXPECT_EQ(StatusOf(program), 3);
    EXPECT_EQ(Complaints(), "apictl: the connection has ended\n");
}

TEST_F(ApictlWatch, AStormOfChangesIsPrintedInOrder) {
    Program program = Start({"watch", "/example/test", "--count", "1000"});
    ApiPeer daemon = Subscribed();

    for (int i = 1; i <= 1000; ++i) {
        ASSERT_TRUE(daemon.Notify("Updated", R"({"path": "/a", "data": )" + std::to_string(i) + "}"));
    }

    EXPECT_TRUE(Ended(program));
    std::istringstream lines(program.output());
    std::string time;
    std::string kind;
    std::string path;
    int number = 0;
    for (int i = 1; i <= 1000; ++i) {
        ASSERT_TRUE(lines >> time >> kind >> path >> number);
        ASSERT_EQ(number, i);
    }
}
