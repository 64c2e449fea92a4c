// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <csignal>

#include "tests/support/ToolFixture.h"

namespace {

using testing::MatchesRegex;

class ConfigctlWatch : public ToolFixture {
  protected:
    // Changes the key again and again until a change is seen: nothing tells when the program has begun to listen.
    bool ChangeUntilSeen(Program& program, const char* key) {
        int number = 0;
        return Await([&] {
            const std::string text = "value " + std::to_string(++number);
            return Write(key, text.c_str()) == 0 && !program.output().empty();
        });
    }
};

}  // namespace

TEST_F(ConfigctlWatch, PrintsAChangeWhileItGoesOn) {
    const auto program = StartTool({"watch", "ram."});

    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    EXPECT_TRUE(program->isRunning());
    EXPECT_THAT(program->output(), MatchesRegex("([0-9T:.-]+ ram[.]a = value [0-9]+\n)+"));
}

TEST_F(ConfigctlWatch, TellsOfADeletedKey) {
    const auto program = StartTool({"watch", "ram."});
    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    config_delete("ram.a");

    EXPECT_TRUE(program->awaitOutput(" ram.a deleted\n"));
}

TEST_F(ConfigctlWatch, TellsOnlyOfItsPrefixes) {
    const auto program = StartTool({"watch", "ram.b", "cfg.mine"});
    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.b"));

    ASSERT_EQ(Write("ram.a", "x"), 0);
    ASSERT_EQ(Write("cfg.mine", "end"), 0);

    EXPECT_TRUE(program->awaitOutput(" cfg.mine = end\n"));
    EXPECT_THAT(program->output(), testing::Not(testing::HasSubstr("ram.a")));
}

TEST_F(ConfigctlWatch, EndsAfterItsCount) {
    const auto program = StartTool({"watch", "ram.", "--count", "1", "--json"});

    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    EXPECT_EQ(Run(*program), 0);
    EXPECT_THAT(
        m_printed,
        MatchesRegex("[{]\"time\":\"[0-9T:.-]+\",\"key\":\"ram[.]a\",\"value\":\"value [0-9]+\"[}]\n"));
}

TEST_F(ConfigctlWatch, ATimeoutWithoutAChangeIsStatusOne) {
    EXPECT_EQ(Run({"watch", "ram.", "--timeout", "1"}), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(m_complaints, "");
}

TEST_F(ConfigctlWatch, ATimeoutAfterAChangeIsAGoodEnd) {
    const auto program = StartTool({"watch", "ram.", "--timeout", "3"});
    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    EXPECT_EQ(Run(*program), 0);
}

TEST_F(ConfigctlWatch, SigintAndSigtermAreItsNormalEnd) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto program = StartTool({"watch", "ram."});
        ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

        program->signal(signal);

        EXPECT_EQ(Run(*program), 0) << signal;
        EXPECT_EQ(m_complaints, "");
    }
}

TEST_F(ConfigctlWatch, EndsQuietlyWithTheReaderOfItsOutput) {
    const auto program = Shell(R"({ "$TOOL" watch ram.; echo "status $?" >&2; } | head -n 1)");
    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    EXPECT_EQ(Run(*program), 0);
    EXPECT_EQ(m_complaints, "status 0\n");
}

TEST_F(ConfigctlWatch, TheEndOfTheBusIsStatusThree) {
    const auto program = StartTool({"watch", "ram."});
    ASSERT_TRUE(ChangeUntilSeen(*program, "ram.a"));

    StopBus();

    EXPECT_EQ(Run(*program), 3);
    EXPECT_EQ(m_complaints, "configctl: the connection has ended\n");
}
