// SPDX-License-Identifier: MIT

#include "RunningUnit.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>
#include <thread>

#include "gtest/gtest.h"

namespace {

std::filesystem::path make_directory() {
    std::string name = (std::filesystem::temp_directory_path() / "orvale-test-XXXXXX").string();
    return mkdtemp(name.data());
}

}  // namespace

// Below the range from which the system takes the ports of clients: a client that calls such a port before its server
// listens may be given that very port for itself, connects to itself, and the server finds it in use.
int free_port() {
    std::random_device random;
    std::uniform_int_distribution<int> ports(20000, 32000);
    for (;;) {
        const int port = ports(random);
        const UniqueFd probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_ANY);
        address.sin_port = htons(static_cast<uint16_t>(port));
        if (bind(probe.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            return port;
        }
    }
}

RunningUnit::RunningUnit() : m_directory(make_directory()), m_port(free_port()) {
    m_bus_address = "unix*" + m_directory.filename().string();
    writeAccessMap(R"json({"/(example|system)(/|$)": {"GET": 0, "PUT": 0, "POST": 0, "DELETE": 0}})json");
    writeConfiguration(R"({"hab.path": "", "hab.log.level": 7, "hab.http.port": )" + std::to_string(m_port) +
                       "}");
}

RunningUnit::~RunningUnit() {
    m_daemon.reset();
    m_others.clear();
    m_database.reset();
    m_bus.reset();
    std::filesystem::remove_all(m_directory);
}

void RunningUnit::writeAccessMap(const std::string& json) {
    std::ofstream(file("accessmap.json")) << json;
}

void RunningUnit::writeConfiguration(const std::string& json) {
    std::ofstream(file("configuration.json")) << json;
}

std::string RunningUnit::rpcSocket() const {
    return "/tmp/mrv_json_rpc_" + std::to_string(getuid());
}

void RunningUnit::start() {
    startBus();
    startDatabase();
    startDaemon();
}

void RunningUnit::startBus() {
    const std::vector<std::string> arguments{"-a", m_bus_address};
    m_bus = std::make_unique<Program>(CBUSD_PROGRAM, arguments, std::map<std::string, std::string>{},
                                      file("cbusd.log"));
    ASSERT_TRUE(m_bus->awaitOutput("listening")) << m_bus->output();
}

void RunningUnit::startDatabase() {
    m_database.reset();  // the one before has the store
    const std::vector<std::string> arguments{"-a", m_bus_address, "-s", file("config.db"),
                                             "-f", FACTORY_FILE};
    m_database = std::make_unique<Program>(CONFIGD_PROGRAM, arguments, std::map<std::string, std::string>{},
                                           file("configd.log"));
    ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
}

Program& RunningUnit::startOther(const std::string& path, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"-a", m_bus_address});
    m_others.push_back(std::make_unique<Program>(path, arguments, std::map<std::string, std::string>{},
                                                 file("other" + std::to_string(m_others.size()) + ".log")));
    EXPECT_TRUE(m_others.back()->awaitOutput("serving")) << m_others.back()->output();
    return *m_others.back();
}

void RunningUnit::startDaemon() {
    m_daemon.reset();  // the one before has the port
    const std::map<std::string, std::string> environment{{"CBUS_ADDR", m_bus_address},
                                                         {"MRV_JSON_RPC_TEST", "1"},
                                                         {"ORVALE_MISC", m_directory.string() + "/"}};
    m_daemon =
        std::make_unique<Program>(WEB_APP_PROGRAM, std::vector<std::string>{"-c", m_directory.string()},
                                  environment, file("web_app.log"));
    for (int i = 0; i < 10'000 && m_daemon->isRunning(); ++i) {
        if (http().connected() && rpc().connected()) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    FAIL() << "the daemon does not answer: " << m_daemon->output();
}
