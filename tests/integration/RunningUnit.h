// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "HttpClient.h"
#include "RpcClient.h"
#include "tests/support/Program.h"

// RunningUnit: bus, configuration database and daemon as real programs on addresses of their own, in a directory
// that goes away with the object. What a test changes about it has to be changed before start().
class RunningUnit {
  public:
    RunningUnit();
    RunningUnit(const RunningUnit&) = delete;
    RunningUnit& operator=(const RunningUnit&) = delete;
    ~RunningUnit();

    // The three programs, each awaited until it answers; a failed start is a failed expectation.
    void start();
    void startBus();
    void startDatabase();
    void startDaemon();
    // Another program of the unit, which says "serving" when it does; it gets the bus address as -a.
    Program& startOther(const std::string& path, std::vector<std::string> arguments = {});

    void writeAccessMap(const std::string& json);
    void writeConfiguration(const std::string& json);

    [[nodiscard]] HttpClient http() const { return HttpClient(m_port); }
    [[nodiscard]] RpcClient rpc() const { return RpcClient(rpcSocket()); }
    [[nodiscard]] int port() const { return m_port; }
    [[nodiscard]] std::string rpcSocket() const;
    [[nodiscard]] const std::string& busAddress() const { return m_bus_address; }
    [[nodiscard]] std::filesystem::path directory() const { return m_directory; }
    [[nodiscard]] Program& bus() { return *m_bus; }
    [[nodiscard]] Program& database() { return *m_database; }
    [[nodiscard]] Program& daemon() { return *m_daemon; }
    void stopDatabase() { m_database.reset(); }
    void stopDaemon() { m_daemon.reset(); }

  private:
    [[nodiscard]] std::string file(const std::string& name) const { return m_directory / name; }

    std::filesystem::path m_directory;
    std::string m_bus_address;
    int m_port = 0;
    // In the order of starting, so that the daemon goes first.
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_database;
    std::vector<std::unique_ptr<Program>> m_others;
    std::unique_ptr<Program> m_daemon;
};

// A TCP port that was free a moment ago.
int free_port();
