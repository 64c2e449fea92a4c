// SPDX-License-Identifier: MIT

#include "tools/apictl/Watch.h"

#include <gmock/gmock.h>

#include "CommandFixture.h"

namespace {

using testing::EndsWith;
using testing::MatchesRegex;
using testing::StartsWith;

class WatchTest : public CommandFixture {
  protected:
    WatchTest() {
        m_command.verb = CommandLine::Verb::kWatch;
        m_command.paths = {"/example/test"};
    }
    ExitStatus Run() { return Watch(m_command, m_interruption, m_output).run(); }
    // Takes out one subscription and tells of changes of the resource.
    void PlayChanges(int count) {
        m_api.Play([count](ApiPeer& daemon) {
            daemon.Serve(kCreatedBody);
            for (int i = 1; i <= count; ++i) {
                daemon.Notify("Updated",
                              R"({"path": "/example/test", "data": {"c": )" + std::to_string(i) + "}}");
            }
        });
    }
};

}  // namespace

TEST_F(WatchTest, SubscribesAsTheCommandAsks) {
    std::string request;
    m_command.is_recursive = true;
    m_command.include = "UPDATED";
    m_api.Play([&](ApiPeer& daemon) {
        request = daemon.Serve(kCreatedBody);
        daemon.Hang();
    });

    EXPECT_EQ(Run(), ExitStatus::kUnreachable);

    m_api.Await();
    EXPECT_EQ(request, R"({"jsonrpc":"2.0","method":"create","params":{)"
                       R"("path":"/example/subscriptions/example/test",)"
                       R"("data":{"recursive":true,"data_include":"UPDATED"}},"id":1})");
}

TEST_F(WatchTest, PrintsALineForEachChangeUpToTheCount) {
    m_command.count = 2;
    PlayChanges(3);

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(Printed(), MatchesRegex("[-0-9]+T[0-9:.]+ Updated /example/test [{]\"c\":1[}]\n"
                                        "[-0-9]+T[0-9:.]+ Updated /example/test [{]\"c\":2[}]\n"));
    EXPECT_EQ(Complaints(), "");
}

TEST_F(WatchTest, PrintsWholeMessagesWhenAsked) {
    m_command.count = 1;
    m_command.is_raw = true;
    PlayChanges(1);

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_EQ(Printed(),
              "{\"jsonrpc\":\"2.0\",\"method\":\"Updated\",\"params\":{\"path\":\"/example/"
              "test\",\"data\":{\"c\":1}}}\n");
}

TEST_F(WatchTest, AChangeThatComesBeforeItsSubscriptionIsAnsweredCounts) {
    m_command.count = 1;
    m_api.Play([](ApiPeer& daemon) {
        daemon.Receive();
        daemon.Notify("Created", R"({"path": "/example/test"})");
        daemon.Answer(kCreatedBody);
    });

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(Printed(), EndsWith(" Created /example/test\n"));
}

TEST_F(WatchTest, ANotificationWithoutAPathIsNotCounted) {
    m_command.count = 1;
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        daemon.Notify("Updated", "{}");
        daemon.Notify("Deleted", R"({"path": "/example/test"})");
    });

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_THAT(Printed(), EndsWith(" Deleted /example/test\n"));
}

TEST_F(WatchTest, SeveralPathsShareOneConnectionAndAreAskedForInTurn) {
    m_command.paths = {"/example/test", "/system/info"};
    m_command.count = 1;
    std::string second;
    m_api.Play([&](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        second = daemon.Serve(kCreatedBody);
        daemon.Notify("Updated", R"({"path": "/system/info"})");
    });

    EXPECT_EQ(Run(), ExitStatus::kDone);

    m_api.Await();
    EXPECT_THAT(second, testing::HasSubstr("/system/subscriptions/system/info"));
    EXPECT_THAT(Printed(), EndsWith(" Updated /system/info\n"));
}

TEST_F(WatchTest, EndsAtItsTimeout) {
    m_command.timeout = std::chrono::seconds(1);
    const Deadline start = Deadline::clock::now();
    PlayChanges(1);

    EXPECT_EQ(Run(), ExitStatus::kDone);

    EXPECT_GE(Deadline::clock::now() - start, std::chrono::seconds(1));
    EXPECT_THAT(Printed(), EndsWith("{\"c\":1}\n"));
}

TEST_F(WatchTest, EndsWithStatusOneWhenItSawNothingUntilItsTimeout) {
    m_command.timeout = std::chrono::seconds(1);
    PlayChanges(0);

    EXPECT_EQ(Run(), ExitStatus::kRefused);

    EXPECT_EQ(Printed(), "");
}

TEST_F(WatchTest, ARefusedPathEndsItWithItsNameAndStatusOne) {
    m_command.paths = {"/example/test", "/example/none"};
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        daemon.Serve(kNotFoundBody);
    });

    EXPECT_EQ(Run(), ExitStatus::kRefused);

    EXPECT_EQ(Complaints(), "apictl: /example/none: 404 Not Found\n");
}

TEST_F(WatchTest, TheSamePathTwiceIsRefusedByTheDaemon) {
    m_command.paths = {"/example/test", "/example/test"};
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        daemon.Serve(R"("error": {"code": 409, "message": "Conflict"})");
    });

    EXPECT_EQ(Run(), ExitStatus::kRefused);

    EXPECT_EQ(Complaints(), "apictl: /example/test: 409 Conflict\n");
}

TEST_F(WatchTest, TheEndOfTheConnectionIsStatusThree) {
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        daemon.Notify("Updated", R"({"path": "/example/test"})");
        daemon.Hang();
    });

    EXPECT_EQ(Run(), ExitStatus::kUnreachable);

    EXPECT_THAT(Printed(), EndsWith(" Updated /example/test\n"));
    EXPECT_EQ(Complaints(), "apictl: the connection has ended\n");
}

TEST_F(WatchTest, WithoutADaemonTheStatusIsThree) {
    m_command.socket = m_api.directory().file("none");

    EXPECT_EQ(Run(), ExitStatus::kUnreachable);

    EXPECT_THAT(Complaints(), StartsWith("apictl: cannot reach "));
}

TEST_F(WatchTest, AnInterruptionWhileSubscribingIsAGoodEnd) {
    ASSERT_TRUE(m_interruption.addSignals());
    m_api.Play([](ApiPeer& daemon) {
        daemon.Receive();
        kill(getpid(), SIGINT);
    });

    EXPECT_EQ(Run(), ExitStatus::kDone);

    m_api.Await();
    EXPECT_EQ(Complaints(), "");
}

TEST_F(WatchTest, AnInterruptionWhileWatchingIsAGoodEnd) {
    ASSERT_TRUE(m_interruption.addSignals());
    m_api.Play([](ApiPeer& daemon) {
        daemon.Serve(kCreatedBody);
        kill(getpid(), SIGTERM);
    });

    EXPECT_EQ(Run(), ExitStatus::kDone);

    m_api.Await();
    EXPECT_EQ(Complaints(), "");
}

TEST_F(WatchTest, AnOutputThatTakesNoMoreIsStatusThree) {
    const UniqueFd full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    const Output output("apictl", m_interruption, full.get(), m_err.get());
    PlayChanges(2);

    EXPECT_EQ(Watch(m_command, m_interruption, output).run(), ExitStatus::kUnreachable);

    EXPECT_EQ(Complaints(), "apictl: cannot write: No space left on device\n");
}
