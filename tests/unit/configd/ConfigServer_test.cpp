// SPDX-License-Identifier: MIT

#include "device/configd/ConfigServer.h"

#include <gmock/gmock.h>

#include <map>

#include "RawClient.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

using testing::ElementsAre;

namespace {

// The server in this process, its loop turned by hand; the bus is the real program.
class Server : public testing::Test {
  protected:
    void SetUp() override {
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        m_bus = std::make_unique<Program>(CBUSD_PROGRAM, std::vector<std::string>{"-a", m_address},
                                          std::map<std::string, std::string>{}, m_directory.file("bus.log"));
        ASSERT_TRUE(m_bus->awaitOutput("listening"));
        OpenDatabase();
        Serve();
    }
    void OpenDatabase() {
        m_database.reset();
        m_database = ConfigDatabase::load({}, ConfigStore::open(m_directory.file("store.db")));
        ASSERT_NE(m_database, nullptr);
    }
    // With a loop and a connection of its own, as after the bus has come back.
    void Serve() {
        StopServing();
        m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
        m_server = std::make_unique<ConfigServer>(m_loop.get(), m_connection.get(), *m_database);
    }
    void StopServing() {
        m_server.reset();
        m_connection.reset();
    }
    void Turn() { fdloop_run(m_loop.get()); }

    using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

    TempDirectory m_directory;
    std::string m_address = "unix*config-server-" + std::to_string(getpid());
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<ConfigDatabase> m_database;
    FdLoopPtr m_loop{fdloop_init()};
    ConnectionPtr m_connection;
    std::unique_ptr<ConfigServer> m_server;
    RawClient m_client;
};

}  // namespace

// A turn commits when it begins and nothing more stands in the socket, so that one of them leaves the write waiting.
TEST_F(Server, CommitsWhatWaitsBeforeItGoes) {
    m_client.ask("config.modifyv", Vbuf({{"cfg.a", Number(1), 0}}));
    Turn();
    ASSERT_EQ(m_database->find("cfg.a"), nullptr);

    StopServing();

    EXPECT_THAT(m_client.awaitStatuses(), ElementsAre(0));
    OpenDatabase();
    EXPECT_NE(m_database->find("cfg.a"), nullptr);
}

TEST_F(Server, ServesTheSameDatabaseAgainWithoutItsValidators) {
    m_client.registerValidator("cfg.guarded");
    Turn();
    Serve();

    m_client.ask("config.modifyv", Vbuf({{"cfg.guarded.a", Number(1), 0}}));
    Turn();
    StopServing();

    EXPECT_THAT(m_client.awaitStatuses(), ElementsAre(0));
}

TEST_F(Server, KeepsWhatWaitsWhenTheBusHasGone) {
    m_client.ask("config.modifyv", Vbuf({{"cfg.a", Number(1), 0}}));
    Turn();
    m_bus.reset();

    StopServing();

    OpenDatabase();
    EXPECT_NE(m_database->find("cfg.a"), nullptr);
}
