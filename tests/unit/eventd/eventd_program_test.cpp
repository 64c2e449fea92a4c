// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <thread>

#include "Events.h"
#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "events/EventManager.h"
#include "events/EventRecord.h"
#include "events/EventStore.h"
#include "events/event_cbus_client.h"
#include "events/event_client.h"
#include "runtime/c_owner.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

namespace {

using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;
using testing::HasSubstr;

constexpr unsigned kCapacity = 200;
const EventDefinition kDefinitions[] = {{66128, 1, "EV_AP_OEM_WARNING"}, {67993, 2, "EV_AP_TEST"}};

// Bus, database and event handler as real programs; the clients of all three in this process.
class EventProgram : public testing::Test {
  protected:
    void SetUp() override {
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        m_bus = Start(CBUSD_PROGRAM, {"-a", m_address}, "bus.log");
        ASSERT_TRUE(m_bus->awaitOutput("listening"));
        Join();
        fdloop_timer_add(
            m_loop.get(), 10, [](void*, int, _fdloop_timer_t*) {}, nullptr);
    }

    void Join() {
        // Before there is another: the first idler of the loop takes those behind it along when it goes.
        m_connection.reset();
        m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
        ASSERT_NE(m_connection, nullptr);
        config_init_cbus(m_connection.get(), nullptr);
        setEventConnection(m_connection.get());
    }
    // The bus ends and another begins, which this process joins.
    void RestartBus() {
        m_bus.reset();
        m_bus = Start(CBUSD_PROGRAM, {"-a", m_address}, "bus2.log");
        ASSERT_TRUE(m_bus->awaitOutput("listening"));
        Join();
    }

    using Arguments = std::vector<std::string>;
    std::unique_ptr<Program> Start(const char* path, const Arguments& arguments, const char* log) {
        return std::make_unique<Program>(path, arguments, std::map<std::string, std::string>{},
                                         m_directory.file(log));
    }
    void StartDatabase() {
        m_database.reset();
        m_database = Start(CONFIGD_PROGRAM, {"-a", m_address, "-s", m_directory.file("store.db")}, "db.log");
        ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
    }
    void StartHandler() {
        m_handler = Start(EVENTD_PROGRAM, {"-a", m_address}, "log");
        ASSERT_TRUE(m_handler->awaitOutput("serving")) << m_handler->output();
    }
    void Serve() {
        StartDatabase();
        StartHandler();
    }
    void Kill(Program& program) {
        program.signal(SIGKILL);
        ASSERT_TRUE(program.awaitEnd().has_value());
    }

    static void Report(uint32_t ev_id, uint32_t state, uint32_t info = 0) {
        reportEventOnUnit(ev_id, 0, 0, state, info);
    }
    // Active ones, with the identifiers from 1 on.
    static void ReportMany(unsigned count) {
        for (uint32_t ev_id = 1; ev_id <= count; ++ev_id) {
            Report(ev_id, kEventStateOn);
        }
    }

    // Turns the loop until the condition holds; false when it does not within ten seconds.
    bool Await(const std::function<bool()>& condition) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            fdloop_run(m_loop.get());
        }
        return true;
    }
    // The event in the database; all zeros when there is none.
    static UserEvent Stored(unsigned position) {
        std::array<uint8_t, kUserEventBytes> bytes{};
        uint32_t length = 0;
        uint32_t type = 0;
        const std::string key = kEventStorePrefix + std::to_string(position);
        const int status = config_read_typed(key.c_str(), bytes.data(), bytes.size(), &length, &type);
        return status == CONFIG_OK ? user_event_decode(bytes) : UserEvent{.version = 0, .magic = 0};
    }
    bool AwaitStored(unsigned position, uint32_t ev_id, uint32_t state) {
        return Await([=] {
            const UserEvent event = Stored(position);
            return event.ev_id == ev_id && event.state == state;
        });
    }

    TempDirectory m_directory;
    std::string m_address = "unix*eventd-program-" + std::to_string(getpid());
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_database;
    std::unique_ptr<Program> m_handler;
    FdLoopPtr m_loop{fdloop_init()};
    ConnectionPtr m_connection;
};

}  // namespace

TEST_F(EventProgram, KeepsAReportedEventInTheDatabase) {
    Serve();
    registerEventDefinition(kDefinitions, 2);
    const auto before = static_cast<uint32_t>(time(nullptr));

    reportEventOnUnit(67993, 1025, 3, kEventStateOn, 7);

    ASSERT_TRUE(AwaitStored(0, 67993, kEventStateOn));
    const UserEvent event = Stored(0);
    EXPECT_EQ(event.severity, 2);
    EXPECT_EQ(event.source, 1025);
    EXPECT_EQ(event.subsource, 3);
    EXPECT_EQ(event.info, 7U);
    EXPECT_GE(event.on_time, before);
    EXPECT_EQ(event.ev_time, event.on_time);
}

TEST_F(EventProgram, AReaderOfTheListFollowsIt) {
    Serve();
    EventManager reader(kCapacity);
    reader.emInit();

    ReportMany(12);

    ASSERT_TRUE(Await([&] { return reader.store().count() == 12; }));
    uint32_t ev_id = 0;
    for (const auto* item = reader.store().first(nullptr); item != nullptr;
         item = reader.store().next(nullptr, item)) {
        EXPECT_EQ(item->ev_id, ++ev_id);
    }
}

TEST_F(EventProgram, AClearReachesTheReaderOfTheList) {
    Serve();
    ReportMany(12);
    ASSERT_TRUE(AwaitStored(11, 12, kEventStateOn));
    EventManager reader(kCapacity);
    reader.emInit();

    clearEvents(0);

    ASSERT_TRUE(AwaitStored(11, 12, kEventStateOff));
    EXPECT_TRUE(Await([&] { return reader.store().last(nullptr)->state == kEventStateOff; }));
}

TEST_F(EventProgram, KnowsItsEventsAfterItsRestart) {
    Serve();
    registerEventDefinition(kDefinitions, 2);
    Report(1, kEventStateOn);
    Report(67993, kEventStateOn);
    ASSERT_TRUE(AwaitStored(1, 67993, kEventStateOn));

    Kill(*m_handler);
    StartHandler();
    Report(67993, kEventStateOff);

    ASSERT_TRUE(AwaitStored(1, 67993, kEventStateOff));
    EXPECT_EQ(Stored(1).severity, 2);
    EXPECT_THAT(m_handler->output(), HasSubstr("serving 2 events"));
}

TEST_F(EventProgram, ARestartedDatabaseGetsTheListBackByItself) {
    Serve();
    ReportMany(12);
    ASSERT_TRUE(AwaitStored(11, 12, kEventStateOn));

    Kill(*m_database);
    StartDatabase();

    ASSERT_TRUE(AwaitStored(11, 12, kEventStateOn));
    for (unsigned n = 0; n < 12; ++n) {
        EXPECT_EQ(Stored(n).ev_id, n + 1);
    }
}

// The reader stops the process at an event that would leave a gap.
TEST_F(EventProgram, AReaderThatStartsWithARestartedDatabaseFindsTheListWithoutGaps) {
    Serve();
    ReportMany(12);
    ASSERT_TRUE(AwaitStored(11, 12, kEventStateOn));

    Kill(*m_database);
    StartDatabase();
    EventManager reader(kCapacity);
    reader.emInit();
    Report(13, kEventStateOn);

    EXPECT_TRUE(Await([&] { return reader.store().count() == 13; }));
}

TEST_F(EventProgram, DefinitionsAreKnownAfterItsRestart) {
    Serve();
    registerEventDefinition(kDefinitions, 2);
    Report(1, kEventStateOn);
    ASSERT_TRUE(AwaitStored(0, 1, kEventStateOn));

    Kill(*m_handler);
    StartHandler();
    Report(67993, kEventStateOn);

    ASSERT_TRUE(AwaitStored(1, 67993, kEventStateOn));
    EXPECT_EQ(Stored(1).severity, 2);
}

// The reader stops the process at an event that would leave a gap.
TEST_F(EventProgram, AReaderThatStartsAtAHoleGetsTheWholeList) {
    Serve();
    ReportMany(5);
    ASSERT_TRUE(AwaitStored(4, 5, kEventStateOn));
    m_handler->signal(SIGSTOP);
    config_delete("dyn.evh.store.2");
    EventManager reader(kCapacity);
    reader.emInit();
    ASSERT_EQ(reader.store().count(), 2U);

    m_handler->signal(SIGCONT);

    EXPECT_TRUE(Await([&] { return reader.store().count() == 5; }));
    Report(5, kEventStateOff);
    EXPECT_TRUE(AwaitStored(4, 5, kEventStateOff));
}

TEST_F(EventProgram, WaitsForADatabaseThatIsNotThereYet) {
    m_handler = Start(EVENTD_PROGRAM, {"-a", m_address}, "log");
    ASSERT_TRUE(m_handler->awaitOutput("waiting for the database"));
    Report(5, kEventStateOn);

    StartDatabase();

    EXPECT_TRUE(AwaitStored(0, 5, kEventStateOn));
    EXPECT_TRUE(m_handler->awaitOutput("serving"));
}

TEST_F(EventProgram, SignalsOfRubbishDoNotStopIt) {
    Serve();
    const std::string rubbish(100001, '\xff');
    for (const char* name : {"event_handler.", "event_handler.registerEventDefinition",
                             "event_handler.forwardEventReport", "event_handler.clearEvents"}) {
        cbus_send_signal(m_connection.get(), name, nullptr, 0);
        cbus_send_signal(m_connection.get(), name, rubbish.data(), static_cast<uint32_t>(rubbish.size()));
    }

    Report(5, kEventStateOn);

    EXPECT_TRUE(AwaitStored(0, 5, kEventStateOn));
    EXPECT_THAT(m_handler->output(),
                HasSubstr("signal 'event_handler.clearEvents' of 100001 bytes had no effect"));
}

TEST_F(EventProgram, EndsCleanlyOnSigterm) {
    Serve();

    m_handler->signal(SIGTERM);

    EXPECT_EQ(m_handler->awaitEnd(), 0);
}

TEST_F(EventProgram, EndsCleanlyOnSigint) {
    Serve();

    m_handler->signal(SIGINT);

    EXPECT_EQ(m_handler->awaitEnd(), 0);
}

TEST_F(EventProgram, EndsCleanlyWhileItWaitsForTheDatabase) {
    m_handler = Start(EVENTD_PROGRAM, {"-a", m_address}, "log");
    ASSERT_TRUE(m_handler->awaitOutput("waiting for the database"));

    m_handler->signal(SIGTERM);

    EXPECT_EQ(m_handler->awaitEnd(), 0);
}

TEST_F(EventProgram, ItsListOutlivesBusAndDatabase) {
    Serve();
    ReportMany(3);
    ASSERT_TRUE(AwaitStored(2, 3, kEventStateOn));

    Kill(*m_database);
    RestartBus();
    StartDatabase();

    // Reports that come before it has joined are lost with the bus.
    ASSERT_TRUE(Await([] {
        Report(4, kEventStateOn);
        return Stored(3).ev_id == 4;
    }));
    EXPECT_EQ(Stored(0).ev_id, 1U);
}

// The second one comes while the first is written, and nothing comes after it.
TEST_F(EventProgram, ReportsThatComeTogetherAreBothKeptAfterTheBusWasStartedAnew) {
    Serve();
    RestartBus();
    // Reports that come before it has joined are lost with the bus.
    ASSERT_TRUE(Await([] {
        Report(1, kEventStateOn);
        return Stored(0).ev_id == 1;
    }));

    Report(2, kEventStateOn);
    Report(3, kEventStateOn);

    EXPECT_TRUE(AwaitStored(1, 2, kEventStateOn));
    EXPECT_TRUE(AwaitStored(2, 3, kEventStateOn));
}

TEST_F(EventProgram, SaysThatThereIsNoBus) {
    m_handler = Start(EVENTD_PROGRAM, {"-a", "unix*nobody-here"}, "log");

    EXPECT_EQ(WEXITSTATUS(m_handler->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_handler->output(), "eventd: no bus at 'unix*nobody-here'\n");
}

TEST_F(EventProgram, RefusesAnUnknownOption) {
    m_handler = Start(EVENTD_PROGRAM, {"--nonsense"}, "log");

    EXPECT_NE(m_handler->awaitEnd().value_or(0), 0);
}
