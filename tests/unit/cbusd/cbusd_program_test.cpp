// SPDX-License-Identifier: MIT

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "cbus/cbus_client.h"
#include "cbus/socket_helpers.h"
#include "tests/support/Program.h"
#include "tests/support/ServiceManager.h"

namespace {

using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;
using testing::StartsWith;

class BusProgram : public testing::Test {
  protected:
    ~BusProgram() override { std::filesystem::remove(m_output_path); }

    std::string m_address = "unix*cbusd-program-" + std::to_string(getpid());
    std::string m_output_path =
        std::filesystem::temp_directory_path() / ("cbusd-program-" + std::to_string(getpid()));
    std::map<std::string, std::string> m_environment;

    Program Start(const std::vector<std::string>& arguments) {
        return Program(CBUSD_PROGRAM, arguments, m_environment, m_output_path);
    }
};

}  // namespace

TEST_F(BusProgram, ListensOnTheAddressGiven) {
    Program bus = Start({"-a", m_address});

    ASSERT_TRUE(bus.awaitOutput("listening on " + m_address));
    EXPECT_TRUE(UniqueFd(socket_create_client(m_address.c_str())).valid());
}

TEST_F(BusProgram, ListensOnTheAddressOfTheEnvironment) {
    m_environment["CBUS_ADDR"] = m_address;
    Program bus = Start({});

    EXPECT_TRUE(bus.awaitOutput("listening on " + m_address));
}

TEST_F(BusProgram, AnswersAnUnservedRequestOfTheClientLibrary) {
    Program bus = Start({"-a", m_address});
    ASSERT_TRUE(bus.awaitOutput("listening"));
    setenv("CBUS_ADDR", m_address.c_str(), 1);
    const ConnectionPtr client(cbus_conn_create(nullptr, "CBUS_CONNECTION"));
    void* data = nullptr;

    const int cookie = cbus_send_request(client.get(), "anybody", nullptr, 0);

    EXPECT_EQ(cbus_get_reply(client.get(), cookie, &data), 0);
    const MallocedText reply(static_cast<char*>(data));
}

TEST_F(BusProgram, EndsCleanlyOnSigterm) {
    Program bus = Start({"-a", m_address});
    ASSERT_TRUE(bus.awaitOutput("listening"));

    bus.signal(SIGTERM);

    EXPECT_EQ(bus.awaitEnd(), 0);
}

TEST_F(BusProgram, EndsCleanlyOnSigint) {
    Program bus = Start({"-a", m_address});
    ASSERT_TRUE(bus.awaitOutput("listening"));

    bus.signal(SIGINT);

    EXPECT_EQ(bus.awaitEnd(), 0);
}

TEST_F(BusProgram, IgnoresSighupWithALogLine) {
    Program bus = Start({"-a", m_address});
    ASSERT_TRUE(bus.awaitOutput("listening"));

    bus.signal(SIGHUP);

    EXPECT_TRUE(bus.awaitOutput("SIGHUP is ignored"));
    EXPECT_TRUE(UniqueFd(socket_create_client(m_address.c_str())).valid());
}

TEST_F(BusProgram, TellsTheServiceManagerOfItsStartItsLifeAndItsEnd) {
    const std::string address = "@cbusd-manager-" + std::to_string(getpid());
    const ServiceManager manager(address);
    m_environment = {{"NOTIFY_SOCKET", address}, {"WATCHDOG_USEC", "20000"}};
    Program bus = Start({"-a", m_address});

    EXPECT_EQ(manager.Await(), "READY=1");
    EXPECT_EQ(manager.Await(), "WATCHDOG=1");
    EXPECT_EQ(manager.Await(), "WATCHDOG=1");
    bus.signal(SIGTERM);

    EXPECT_EQ(manager.AwaitNews(), "STOPPING=1");
    EXPECT_EQ(bus.awaitEnd(), 0);
}

TEST_F(BusProgram, TakesUsersAndGroupsThatMayUseIt) {
    Program bus = Start({"-a", m_address, "--allow-user", "nobody", "--allow-user", "1234", "--allow-group",
                         "nogroup", "--allow-group", "99"});

    EXPECT_TRUE(bus.awaitOutput("listening"));
}

TEST_F(BusProgram, SaysInOneLineThatAUserIsUnknown) {
    Program bus = Start({"-a", m_address, "--allow-user", "no such user"});

    EXPECT_EQ(WEXITSTATUS(bus.awaitEnd().value_or(0)), 1);
    EXPECT_EQ(bus.output(), "cbusd: no such user: 'no such user'\n");
}

TEST_F(BusProgram, SaysInOneLineThatAGroupIsUnknown) {
    Program bus = Start({"-a", m_address, "--allow-group", "no such group"});

    EXPECT_EQ(WEXITSTATUS(bus.awaitEnd().value_or(0)), 1);
    EXPECT_EQ(bus.output(), "cbusd: no such group: 'no such group'\n");
}

TEST_F(BusProgram, SaysThatTcpIsForTests) {
    Program bus = Start({"-a", "tcp**0"});

    EXPECT_TRUE(bus.awaitOutput("tcp is for tests: whoever reaches the port may use the bus"));
    EXPECT_TRUE(bus.awaitOutput("listening on tcp**0"));
}

TEST_F(BusProgram, SaysInOneLineThatItsAddressIsInUse) {
    const UniqueFd holder(socket_create_server(m_address.c_str()));
    Program bus = Start({"-a", m_address});

    EXPECT_EQ(WEXITSTATUS(bus.awaitEnd().value_or(0)), 1);
    EXPECT_EQ(bus.output(), "cbusd: cannot listen on '" + m_address + "': Address already in use\n");
}

TEST_F(BusProgram, SaysInOneLineThatItsAddressIsBad) {
    Program bus = Start({"-a", "carrier*pigeon"});

    EXPECT_EQ(WEXITSTATUS(bus.awaitEnd().value_or(0)), 1);
    EXPECT_EQ(bus.output(), "cbusd: cannot listen on 'carrier*pigeon': Invalid argument\n");
}

TEST_F(BusProgram, RefusesAnUnknownOption) {
    Program bus = Start({"--nonsense"});

    EXPECT_NE(bus.awaitEnd().value_or(0), 0);
}

TEST_F(BusProgram, ExplainsItself) {
    Program bus = Start({"-h"});

    EXPECT_EQ(bus.awaitEnd(), 0);
    EXPECT_THAT(bus.output(), StartsWith("The message bus"));
}
