// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <map>
#include <memory>
#include <thread>

#include "Values.h"
#include "cbus/cbus.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

namespace {

using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;
using testing::HasSubstr;

// Bus and database as real programs, the client's library in this process.
class DatabaseProgram : public testing::Test {
  protected:
    void SetUp() override {
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        StartBus("bus.log");
    }
    void StartBus(const char* log) {
        m_bus = std::make_unique<Program>(CBUSD_PROGRAM, Arguments{"-a", m_address}, Environment{},
                                          m_directory.file(log));
        ASSERT_TRUE(m_bus->awaitOutput("listening"));
    }
    // The program as it starts, and as it serves a client.
    std::unique_ptr<Program> Start(const std::vector<std::string>& arguments) {
        return std::make_unique<Program>(CONFIGD_PROGRAM, arguments, Environment{}, m_directory.file("log"));
    }
    void Serve() {
        m_database.reset();
        m_database = Start({"-a", m_address, "-s", m_directory.file("store.db"), "-f", SHIPPED_FACTORY_FILE});
        ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
        if (m_connection == nullptr) {
            m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
            ASSERT_NE(m_connection, nullptr);
            config_init_cbus(m_connection.get(), nullptr);
        }
    }
    static int Modify(const char* key, const char* text) {
        config_data_t element{CONFIG_TYPE_STRING, key, const_cast<char*>(text), 0, 0, 99};
        return config_modifyv(nullptr, 1, &element);
    }
    static std::string Read(const char* key) {
        char text[64];
        return config_read_string(key, text, sizeof text) == CONFIG_OK ? text : "(no value)";
    }

    using Arguments = std::vector<std::string>;
    using Environment = std::map<std::string, std::string>;

    TempDirectory m_directory;
    std::string m_address = "unix*configd-program-" + std::to_string(getpid());
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_database;
    FdLoopPtr m_loop{fdloop_init()};
    ConnectionPtr m_connection;
};

// Wakes the loop, which otherwise waits when there is nothing more to come.
void Tick(void*, int, _fdloop_timer_t*) {}

void CountCalls(unsigned int, const config_data_t*, void* calls) {
    ++*static_cast<int*>(calls);
}

void RefuseAll(unsigned int count, config_data_t* elements, void*) {
    for (unsigned int i = 0; i < count; ++i) {
        elements[i].status = -22;
    }
}

}  // namespace

TEST_F(DatabaseProgram, ServesFactoryValues) {
    Serve();

    EXPECT_EQ(Read("ram.platform.system_id"), "HM60");
}

TEST_F(DatabaseProgram, AWriteIsThereForTheNextRead) {
    Serve();

    config_write_string("cfg.a", "written");

    EXPECT_EQ(Read("cfg.a"), "written");
}

TEST_F(DatabaseProgram, AValueOfOneMebibyteTravelsBothWays) {
    Serve();
    const std::string large(1 << 20, 'x');
    std::string buffer(large.size(), '\0');
    uint32_t length = 0;
    uint32_t type = 0;

    config_write_typed("dyn.large", large.data(), static_cast<uint32_t>(large.size()), CONFIG_TYPE_BINARY);

    EXPECT_EQ(
        config_read_typed("dyn.large", buffer.data(), static_cast<uint32_t>(buffer.size()), &length, &type),
        0);
    EXPECT_EQ(buffer, large);
}

TEST_F(DatabaseProgram, APatternReadDeliversAllThatMatches) {
    Serve();
    unsigned int count = 0;
    config_data_t* elements = nullptr;

    EXPECT_EQ(config_readm("ram.system.oemsnmp.(sys_name|sys_services|other)", &count, &elements), 0);

    const Malloced<config_data_t> owner(elements);
    ASSERT_EQ(count, 2U);
    EXPECT_STREQ(elements[0].key, "ram.system.oemsnmp.sys_name");
    EXPECT_STREQ(static_cast<const char*>(elements[0].value), "hm60");
    EXPECT_EQ(elements[1].type, CONFIG_TYPE_INT);
}

// An answer that never comes would make it silent to the bus, which then answers everybody in its place.
TEST_F(DatabaseProgram, ARequestOfItsBareNameIsAnsweredEmpty) {
    Serve();
    void* data = nullptr;

    const int cookie = cbus_send_request(m_connection.get(), "config", nullptr, 0);

    EXPECT_EQ(cbus_get_reply(m_connection.get(), cookie, &data), 0);
    const Malloced<void> reply(data);
    EXPECT_THAT(m_bus->output(), testing::Not(HasSubstr("has not answered")));
    EXPECT_EQ(Modify("cfg.test.after", "x"), 0);
}

TEST_F(DatabaseProgram, AChangeReachesWhoRegisteredForIt) {
    Serve();
    int calls = 0;
    config_change_register("cfg.a", CountCalls, &calls);
    fdloop_timer_add(m_loop.get(), 10, Tick, nullptr);

    ASSERT_EQ(Modify("cfg.a", "new"), 0);
    for (int i = 0; i < 100 && calls == 0; ++i) {
        fdloop_run(m_loop.get());
    }

    EXPECT_EQ(calls, 1);
    config_change_deregister("cfg.a", CountCalls, &calls);
}

TEST_F(DatabaseProgram, AWriteOutlivesAKill) {
    Serve();
    ASSERT_EQ(Modify("cfg.a", "kept"), 0);

    m_database->signal(SIGKILL);
    ASSERT_TRUE(m_database->awaitEnd().has_value());
    Serve();

    EXPECT_EQ(Read("cfg.a"), "kept");
}

// The child process validates while this one waits for its write.
TEST_F(DatabaseProgram, AValidatorInAnotherProcessDecidesAboutAWrite) {
    Serve();
    const pid_t child = fork();
    if (child == 0) {
        const FdLoopPtr loop(fdloop_init());
        _cbus_conn_t* connection = cbus_conn_create(loop.get(), "CBUS_CONNECTION");
        config_init_cbus(connection, nullptr);
        config_validator_register(RefuseAll, "cfg.guarded", nullptr);
        config_write_int("ram.validator", 1);
        while (connection->socket >= 0) {
            fdloop_run(loop.get());
        }
        _exit(0);
    }
    int32_t is_ready = 0;
    while (config_read_int("ram.validator", &is_ready) != 0) {
        usleep(1000);
    }

    EXPECT_EQ(Modify("cfg.guarded.a", "x"), -22);
    EXPECT_EQ(Modify("cfg.free", "x"), 0);

    EXPECT_EQ(Read("cfg.guarded.a"), "(no value)");
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

TEST_F(DatabaseProgram, EndsCleanlyOnSigterm) {
    Serve();

    m_database->signal(SIGTERM);

    EXPECT_EQ(m_database->awaitEnd(), 0);
}

TEST_F(DatabaseProgram, EndsCleanlyOnSigint) {
    Serve();

    m_database->signal(SIGINT);

    EXPECT_EQ(m_database->awaitEnd(), 0);
}

TEST_F(DatabaseProgram, JoinsABusThatWasStartedAnewWithAllItsValues) {
    Serve();
    ASSERT_EQ(Modify("cfg.kept", "a"), 0);
    ASSERT_EQ(Modify("ram.kept", "b"), 0);

    m_bus.reset();
    StartBus("bus2.log");
    m_connection.reset();
    m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
    config_init_cbus(m_connection.get(), nullptr);

    // Until it has joined, the bus answers in its place.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (Read("cfg.kept") == "(no value)" && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(Read("cfg.kept"), "a");
    EXPECT_EQ(Read("ram.kept"), "b");
    EXPECT_THAT(m_database->output(), HasSubstr("the bus is gone: joining it again\n"));
}

TEST_F(DatabaseProgram, SaysThatThereIsNoBus) {
    m_database = Start({"-a", "unix*nobody-here", "-s", m_directory.file("store.db")});

    EXPECT_EQ(WEXITSTATUS(m_database->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_database->output(), "configd: no bus at 'unix*nobody-here'\n");
}

TEST_F(DatabaseProgram, SaysThatItsStoreCannotBeOpened) {
    m_database = Start({"-s", "/nowhere/store.db"});

    EXPECT_EQ(WEXITSTATUS(m_database->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_database->output(),
              "configd: cannot open the store '/nowhere/store.db': unable to open database file\n");
}

TEST_F(DatabaseProgram, SaysThatItsFactoryFileIsNotThere) {
    m_database = Start({"-s", m_directory.file("store.db"), "-f", "/nowhere/factory.json"});

    EXPECT_EQ(WEXITSTATUS(m_database->awaitEnd().value_or(0)), 1);
    EXPECT_EQ(m_database->output(), "configd: cannot read the factory values in '/nowhere/factory.json'\n");
}

TEST_F(DatabaseProgram, RefusesAnUnknownOption) {
    m_database = Start({"--nonsense"});

    EXPECT_NE(m_database->awaitEnd().value_or(0), 0);
}
