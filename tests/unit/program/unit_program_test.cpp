// SPDX-License-Identifier: MIT

#include "device/program/unit_program.h"

#include <sys/wait.h>

#include <csignal>

#include "tests/support/RunningDatabase.h"
#include "tests/support/ServiceManager.h"

namespace {

// The programs of the unit that serve on the bus, each started by a service manager.
class UnitProgramLife : public RunningDatabase, public testing::WithParamInterface<const char*> {
  protected:
    ~UnitProgramLife() override { unsetenv("NOTIFY_SOCKET"); }

    void SetUp() override {
        RunningDatabase::SetUp();
        // Of the database there is only one.
        m_database.reset();
        setenv("NOTIFY_SOCKET", m_notify_address.c_str(), 1);
    }
    [[nodiscard]] bool IsOnTheBus() const {
        void* reply = nullptr;
        const int cookie = cbus_send_request(m_connection.get(), "cbus.status", nullptr, 0);
        const int size = cbus_get_reply(m_connection.get(), cookie, &reply);
        const MallocedText text(static_cast<char*>(reply));
        const std::string name = std::filesystem::path(GetParam()).filename().string();
        return size > 0 && std::string(text.get()).find('"' + name + '"') != std::string::npos;
    }
    void StartProgram() {
        std::vector<std::string> arguments{"-a", m_address};
        if (GetParam() == std::string(CONFIGD_PROGRAM)) {
            arguments.insert(arguments.end(), {"-s", m_directory.file("store.db")});
        }
        m_program = Start(GetParam(), arguments);
    }

    std::string m_notify_address = "@" + m_address.substr(m_address.find('*') + 1) + "-manager";
    ServiceManager m_manager{m_notify_address};
    std::unique_ptr<Program> m_program;
};

}  // namespace

TEST_P(UnitProgramLife, TellsTheServiceManagerOfItsStartAndItsEnd) {
    StartProgram();
    ASSERT_EQ(m_manager.Await(), "READY=1");
    EXPECT_TRUE(m_program->isRunning());

    m_program->signal(SIGTERM);

    EXPECT_EQ(m_manager.Await(), "STOPPING=1");
    EXPECT_EQ(m_program->awaitEnd(), 0);
    EXPECT_EQ(m_manager.Hear(), "");
}

TEST_P(UnitProgramLife, TellsTheWatchdogThatItLivesThoughTheBusIsGone) {
    setenv("WATCHDOG_USEC", "20000", 1);
    StartProgram();
    unsetenv("WATCHDOG_USEC");
    ASSERT_EQ(m_manager.Await(), "READY=1");

    m_bus.reset();
    ASSERT_TRUE(m_program->awaitOutput("the bus is gone"));
    while (!m_manager.Hear().empty()) {
    }

    EXPECT_EQ(m_manager.Await(), "WATCHDOG=1");
    m_program->signal(SIGTERM);
    EXPECT_EQ(m_manager.AwaitNews(), "STOPPING=1");
}

TEST_P(UnitProgramLife, IgnoresAHangUp) {
    StartProgram();
    ASSERT_EQ(m_manager.Await(), "READY=1");

    m_program->signal(SIGHUP);

    EXPECT_TRUE(m_program->awaitOutput("SIGHUP is ignored"));
    m_program->signal(SIGTERM);
    EXPECT_EQ(m_program->awaitEnd(), 0);
}

TEST_P(UnitProgramLife, IsReadyOnceThoughTheBusIsStartedAnew) {
    StartProgram();
    ASSERT_EQ(m_manager.Await(), "READY=1");

    unsetenv("NOTIFY_SOCKET");  // the bus is not of this manager
    RestartBus();
    ASSERT_TRUE(Await([this] { return IsOnTheBus(); }));

    EXPECT_EQ(m_manager.Hear(), "");
}

TEST_P(UnitProgramLife, WithoutABusIsNeverReady) {
    m_bus.reset();

    StartProgram();

    EXPECT_EQ(WEXITSTATUS(m_program->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_manager.Hear(), "");
}

INSTANTIATE_TEST_SUITE_P(Of, UnitProgramLife,
                         testing::Values(CONFIGD_PROGRAM, EVENTD_PROGRAM, DIAGD_PROGRAM, TERMINALD_PROGRAM),
                         [](const auto& program) {
                             return std::filesystem::path(program.param).filename().string();
                         });
