// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>

#include <csignal>

#include "cbus/cbus_client.h"
#include "tests/support/ToolFixture.h"

namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

// Against the real bus.
class Cbusctl : public ToolFixture {
  protected:
    void SignalOnce(const char* name, const std::string& data) {
        cbus_send_signal(m_connection.get(), name, data.data(), static_cast<uint32_t>(data.size()));
    }
    // Sends the signal again and again until the program prints: nothing tells when it has begun to listen.
    bool SignalUntilSeen(Program& program, const char* name, const std::string& data) {
        return Await([&] {
            SignalOnce(name, data);
            return !program.output().empty() || !program.isRunning();
        });
    }
};

}  // namespace

TEST_F(Cbusctl, PrintsTheReplyOfACall) {
    ASSERT_EQ(Run({"call", "config.stat.ram.status.system", "ffffffff", "--hex"}), 0);

    EXPECT_EQ(m_printed, "0000000003020000\n");
    EXPECT_EQ(m_complaints, "");
}

TEST_F(Cbusctl, PrintsTheReplyOfACallAsJson) {
    ASSERT_EQ(Run({"--json", "call", "config.factory_reset"}), 0);

    EXPECT_EQ(m_printed, "{\"name\":\"config.factory_reset\",\"size\":4,\"hex\":\"00000000\"}\n");
}

TEST_F(Cbusctl, ACallThatNobodyAnswersIsStatusOne) {
    EXPECT_EQ(Run({"call", "nobody", "x"}), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(m_complaints, "cbusctl: nobody: no answer\n");
}

TEST_F(Cbusctl, ABusThatCannotBeReachedIsStatusThreeForEveryCommand) {
    StopBus();
    const std::vector<std::vector<std::string>> commands = {
        {"status"}, {"list"}, {"call", "a"}, {"send", "a"}, {"listen", "a"}, {"monitor"}, {"wait-for", "a"}};
    for (const auto& command : commands) {
        EXPECT_EQ(Run(command), 3) << command.front();
        EXPECT_EQ(m_complaints, "cbusctl: cannot reach the bus '" + m_address + "': Connection refused\n");
    }
}

TEST_F(Cbusctl, AnAddressThatIsNoneIsStatusThree) {
    EXPECT_EQ(Run({"-a", "nonsense", "send", "a"}), 3);

    EXPECT_EQ(m_complaints, "cbusctl: cannot reach the bus 'nonsense': Invalid argument\n");
}

TEST_F(Cbusctl, AWrongCommandLineIsStatusTwo) {
    EXPECT_EQ(Run({"call", "a", "0", "--hex"}), 2);

    EXPECT_THAT(m_complaints, HasSubstr("is no hex text"));
}

TEST_F(Cbusctl, ANameBeyondTheLimitIsStatusTwo) {
    EXPECT_EQ(Run({"send", std::string(65535, 'n')}), 2);
}

TEST_F(Cbusctl, SendsASignal) {
    const auto listener = StartTool({"listen", "test.", "--count", "1"});

    EXPECT_TRUE(Await([&] {
        return Run(*StartTool({"send", "test.a", "hello"})) == 0 && !listener->output().empty();
    }));

    EXPECT_EQ(Run(*listener), 0);
    EXPECT_THAT(m_printed, MatchesRegex("[0-9T:.-]+ test[.]a hello\n"));
}

TEST_F(Cbusctl, ListensToEveryPrefixAndNothingElse) {
    const auto program = StartTool({"listen", "a.", "b."});
    ASSERT_TRUE(SignalUntilSeen(*program, "b.x", "1\0"s));

    SignalOnce("c.x", "2\0"s);
    SignalOnce("a.y", "end\0"s);

    EXPECT_TRUE(program->awaitOutput(" a.y end\n"));
    EXPECT_THAT(program->output(), testing::Not(HasSubstr("c.x")));
}

TEST_F(Cbusctl, ShowsHostileBytesEscaped) {
    const auto program = StartTool({"listen", "a", "--count", "1"});
    ASSERT_TRUE(SignalUntilSeen(*program, "a\x1b[2J", "\x1b]0;x\x07\0"s));

    EXPECT_EQ(Run(*program), 0);

    EXPECT_THAT(m_printed, HasSubstr(" a\\u001b[2J \\u001b]0;x\\u0007\n"));
}

TEST_F(Cbusctl, PrintsSignalsAsJsonAndHexText) {
    const auto program = StartTool({"listen", "a", "--count", "1", "--json", "--hex"});
    ASSERT_TRUE(SignalUntilSeen(*program, "a.b", "x\0"s));

    EXPECT_EQ(Run(*program), 0);

    EXPECT_THAT(
        m_printed,
        MatchesRegex("[{]\"time\":\"[0-9T:.-]+\",\"name\":\"a[.]b\",\"size\":2,\"hex\":\"7800\"[}]\n"));
}

TEST_F(Cbusctl, DecodesTheSignalsOfTheDatabase) {
    const auto program = StartTool({"listen", "config.change.ram", "--count", "1"});
    int number = 0;
    ASSERT_TRUE(Await(
        [&] { return Write("ram.a", std::to_string(++number).c_str()) == 0 && !program->output().empty(); }));

    EXPECT_EQ(Run(*program), 0);

    EXPECT_THAT(m_printed, MatchesRegex("[0-9T:.-]+ config[.]change[.]ram ram[.]a = [0-9]+\n"));
}

TEST_F(Cbusctl, ATimeoutWithoutASignalIsStatusOne) {
    EXPECT_EQ(Run({"listen", "a", "--timeout", "1"}), 1);

    EXPECT_EQ(m_complaints, "");
}

TEST_F(Cbusctl, ATimeoutAfterASignalIsAGoodEnd) {
    const auto program = StartTool({"listen", "a", "--timeout", "3"});
    ASSERT_TRUE(SignalUntilSeen(*program, "a", "x\0"s));

    EXPECT_EQ(Run(*program), 0);
}

TEST_F(Cbusctl, SigintAndSigtermAreTheNormalEndOfListening) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const auto program = StartTool({"listen", "a"});
        ASSERT_TRUE(SignalUntilSeen(*program, "a", "x\0"s));

        program->signal(signal);

        EXPECT_EQ(Run(*program), 0) << signal;
        EXPECT_EQ(m_complaints, "");
    }
}

TEST_F(Cbusctl, EndsQuietlyWithTheReaderOfItsOutput) {
    const auto program = Shell(R"({ "$TOOL" listen a; echo "status $?" >&2; } | head -n 1)");
    ASSERT_TRUE(SignalUntilSeen(*program, "a", "x\0"s));

    EXPECT_EQ(Run(*program), 0);
    EXPECT_EQ(m_complaints, "status 0\n");
}

TEST_F(Cbusctl, TheEndOfTheBusIsStatusThree) {
    const auto program = StartTool({"listen", "a"});
    ASSERT_TRUE(SignalUntilSeen(*program, "a", "x\0"s));

    StopBus();

    EXPECT_EQ(Run(*program), 3);
    EXPECT_EQ(m_complaints, "cbusctl: the connection has ended\n");
}

TEST_F(Cbusctl, AUserWhoMayNotMonitorIsToldSo) {
    const std::string become_nobody = "setpriv --reuid 65534 --clear-groups -- \"$TOOL\" ";
    if (RunShell(become_nobody + "-h") != 0) {
        GTEST_SKIP() << "cannot become somebody else who may run the program";
    }
    StopBus();
    m_bus = Start(CBUSD_PROGRAM, {"-a", m_address, "--allow-user", "65534"});
    ASSERT_TRUE(m_bus->awaitOutput("listening")) << m_bus->output();

    EXPECT_EQ(RunShell(become_nobody + "monitor"), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(m_complaints, "cbusctl: the bus does not let this user monitor it\n");
}

TEST_F(Cbusctl, AUserWhoMayNotUseTheBusIsToldThatNothingWasSent) {
    const std::string become_nobody = "setpriv --reuid 65534 --clear-groups -- \"$TOOL\" ";
    if (RunShell(become_nobody + "-h") != 0) {
        GTEST_SKIP() << "cannot become somebody else who may run the program";
    }

    EXPECT_EQ(RunShell(become_nobody + "send test.a hello"), 3);

    EXPECT_EQ(m_complaints, "cbusctl: the connection has ended\n");
}

TEST_F(Cbusctl, AMonitorOfAQuietBusPrintsNothingOfItsOwn) {
    m_database.reset();

    EXPECT_EQ(Run({"monitor", "--timeout", "1"}), 1);

    EXPECT_EQ(m_printed, "");
    EXPECT_EQ(m_complaints, "");
}
