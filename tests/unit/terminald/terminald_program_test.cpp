// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <string_view>

#include "tests/support/RunningDatabase.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr const char* kStatus = "ram.status.system";
constexpr const char* kPressed = "ram.status.system.reset_button.reset_pressed";
constexpr const char* kSeconds = "ram.status.system.reset_button.reset_pressed_seconds";

class TerminalProgram : public RunningDatabase {
  protected:
    void Serve(const std::string& speed) {
        m_program = Start(TERMINALD_PROGRAM, {"-a", m_address, "--speed", speed});
        ASSERT_TRUE(m_program->awaitOutput("serving")) << m_program->output();
    }
    bool AwaitInt(const char* key, int32_t value) {
        return Await([=] { return ReadInt(key) == value; });
    }

    std::unique_ptr<Program> m_program;
};

// Keeps each new value of the system's status.
void KeepStatus(unsigned int count, const config_data_t* elements, void* seen) {
    for (unsigned int i = 0; i < count; ++i) {
        if (std::string_view(elements[i].key) == kStatus && elements[i].type == CONFIG_TYPE_INT) {
            int32_t value = 0;
            std::memcpy(&value, elements[i].value, sizeof value);
            static_cast<std::vector<int32_t>*>(seen)->push_back(value);
        }
    }
}

}  // namespace

TEST_F(TerminalProgram, GoesFromInitializingToReady) {
    std::vector<int32_t> seen;
    config_change_register(kStatus, KeepStatus, &seen);
    Serve("20");

    EXPECT_TRUE(Await([&] { return !seen.empty() && seen.back() == 6; }));

    EXPECT_THAT(seen, ElementsAre(1, 4, 5, 6));
    config_change_deregister(kStatus, KeepStatus, &seen);
}

TEST_F(TerminalProgram, TakesItsTimeWithoutAFactor) {
    m_program = Start(TERMINALD_PROGRAM, {"-a", m_address});
    ASSERT_TRUE(m_program->awaitOutput("serving")) << m_program->output();

    EXPECT_EQ(ReadInt(kStatus), 1);
}

TEST_F(TerminalProgram, ASignalPressesTheResetButtonAndAnotherReleasesIt) {
    Serve("1000000");
    EXPECT_EQ(ReadInt(kPressed), 0);

    m_program->signal(SIGUSR1);
    EXPECT_TRUE(AwaitInt(kPressed, 1));
    m_program->signal(SIGUSR2);
    EXPECT_TRUE(AwaitInt(kPressed, 2));
}

TEST_F(TerminalProgram, CountsTheSecondsOfAPressAndKeepsThem) {
    Serve("1000000");
    m_program->signal(SIGUSR1);

    EXPECT_TRUE(Await([] { return ReadInt(kSeconds) >= 1; }));
    m_program->signal(SIGUSR2);
    EXPECT_TRUE(AwaitInt(kPressed, 2));

    EXPECT_GE(ReadInt(kSeconds), 1);
}

TEST_F(TerminalProgram, PressAndReleaseAtOnceAreAPressOfNoSeconds) {
    Serve("1000000");
    m_program->signal(SIGSTOP);
    m_program->signal(SIGUSR1);
    m_program->signal(SIGUSR2);

    m_program->signal(SIGCONT);

    EXPECT_TRUE(AwaitInt(kPressed, 2));
    EXPECT_EQ(ReadInt(kSeconds), 0);
}

TEST_F(TerminalProgram, EndsCleanlyOnSigterm) {
    Serve("1");

    m_program->signal(SIGTERM);

    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_F(TerminalProgram, EndsCleanlyOnSigint) {
    Serve("1");

    m_program->signal(SIGINT);

    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_F(TerminalProgram, JoinsABusThatWasStartedAnewAndGoesOnAsItWas) {
    Serve("100000");
    ASSERT_TRUE(AwaitInt(kStatus, 6));

    RestartBus();
    ASSERT_TRUE(Await([] { return config_write_int(kStatus, 99) == 0 && ReadInt(kStatus) == 99; }));

    EXPECT_TRUE(AwaitInt(kStatus, 6)) << m_program->output();
}

TEST_F(TerminalProgram, SaysThatThereIsNoBus) {
    m_program = Start(TERMINALD_PROGRAM, {"-a", "unix*nobody-here"});

    EXPECT_EQ(WEXITSTATUS(m_program->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_program->output(), "terminald: no bus at 'unix*nobody-here'\n");
}

TEST_F(TerminalProgram, RefusesAFactorThatIsNone) {
    for (const char* speed : {"0", "-1", "fast", "1e9", "nan"}) {
        m_program = Start(TERMINALD_PROGRAM, {"-a", m_address, "--speed", speed});

        EXPECT_NE(m_program->awaitEnd().value_or(0), 0) << speed;
    }
}

TEST_F(TerminalProgram, RefusesAnUnknownOption) {
    m_program = Start(TERMINALD_PROGRAM, {"--nonsense"});

    EXPECT_NE(m_program->awaitEnd().value_or(0), 0);
}
