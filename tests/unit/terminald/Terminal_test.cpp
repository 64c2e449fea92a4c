// SPDX-License-Identifier: MIT

#include "device/terminald/Terminal.h"

#include <event2/event.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/px_time.h"
#include "src/base/owners.h"
#include "tests/support/FakeDatabase.h"
#include "tests/support/pump_until.h"

namespace {

constexpr const char* kStatus = "ram.status.system";
constexpr const char* kPressed = "ram.status.system.reset_button.reset_pressed";
constexpr const char* kSeconds = "ram.status.system.reset_button.reset_pressed_seconds";
constexpr double kReadyAtOnce = 1e6;

struct RunningTerminal {
    RunningTerminal(_fdloop_t* loop, double speed)
        : sequence(px_time_ms(), speed), terminal(loop, sequence, button) {}

    StartSequence sequence;
    ResetButton button;
    Terminal terminal;
};

class TerminalTest : public testing::Test {
  protected:
    TerminalTest() {
        config_init_cbus(m_connection.get(), nullptr);
        config_status("ram.none", nullptr);  // the other end has taken the connection
    }
    int32_t Value(const char* key) {
        const std::string bytes = m_database.value(key).bytes;
        int32_t value = -1;
        if (bytes.size() == sizeof value) {
            std::copy(bytes.begin(), bytes.end(), reinterpret_cast<char*>(&value));
        }
        return value;
    }
    long Writes() {
        return std::ranges::count_if(m_database.messages(), [](const BusMessage& message) {
            return message.name.starts_with("config.modifyv");
        });
    }

    FakeDatabase m_database;
    EventBasePtr m_base{event_base_new()};
    FdLoopPtr m_loop{fdloop_init_libevent(m_base.get())};
    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection{cbus_conn_create(m_loop.get(), "CBUS_CONNECTION")};
};

}  // namespace

TEST_F(TerminalTest, ShowsItsStateFromTheBeginning) {
    const RunningTerminal running(m_loop.get(), 1);

    EXPECT_EQ(Value(kStatus), 1);
    EXPECT_EQ(Value(kPressed), 0);
    EXPECT_EQ(Value(kSeconds), 0);
}

TEST_F(TerminalTest, BecomesReadyByItself) {
    const RunningTerminal running(m_loop.get(), 1000);

    EXPECT_TRUE(pump_until(m_base.get(), [this] { return Value(kStatus) == 6; }));
}

TEST_F(TerminalTest, ShowsPressAndRelease) {
    RunningTerminal running(m_loop.get(), kReadyAtOnce);
    Terminal& terminal = running.terminal;

    terminal.press_reset_button();
    EXPECT_EQ(Value(kPressed), 1);
    terminal.release_reset_button();

    EXPECT_EQ(Value(kPressed), 2);
}

TEST_F(TerminalTest, WritesAllThatChangesAtOnce) {
    RunningTerminal running(m_loop.get(), kReadyAtOnce);
    Terminal& terminal = running.terminal;
    const long before = Writes();

    terminal.press_reset_button();

    EXPECT_EQ(Writes(), before + 1);
}

TEST_F(TerminalTest, WritesNothingWhenNothingHasChanged) {
    RunningTerminal running(m_loop.get(), kReadyAtOnce);
    Terminal& terminal = running.terminal;
    const long before = Writes();

    terminal.release_reset_button();

    EXPECT_EQ(Writes(), before);
}

TEST_F(TerminalTest, RepeatsAWriteThatWasNotTaken) {
    m_database.answer(false);
    const RunningTerminal running(m_loop.get(), kReadyAtOnce);
    ASSERT_EQ(Value(kStatus), -1);
    m_database.answer(true);

    EXPECT_TRUE(pump_until(m_base.get(), [this] { return Value(kStatus) == 6; }));
}

TEST_F(TerminalTest, ShowsItsStateAgainInADatabaseThatWasStartedAnew) {
    RunningTerminal running(m_loop.get(), kReadyAtOnce);
    Terminal& terminal = running.terminal;
    terminal.press_reset_button();
    m_database.setInt(kStatus, 3);
    m_database.setInt(kPressed, 0);

    EXPECT_TRUE(pump_until(m_base.get(), [this] { return Value(kStatus) == 6 && Value(kPressed) == 1; }));
}
