// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

// RunningDatabase: bus and database as real programs on an address of their own, and the client's library in this
// process.
class RunningDatabase : public testing::Test {
  protected:
    using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

    void SetUp() override {
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        m_bus = Start(CBUSD_PROGRAM, {"-a", m_address});
        ASSERT_TRUE(m_bus->awaitOutput("listening")) << m_bus->output();
        StartDatabase();
        Join();
        // Wakes the loop while it is turned, when nothing else does.
        fdloop_timer_add(
            m_loop.get(), 10, [](void*, int, _fdloop_timer_t*) {}, nullptr);
    }

    void Join() {
        // Before there is another: the first idler of the loop takes those behind it along when it goes.
        m_connection.reset();
        m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
        ASSERT_NE(m_connection, nullptr);
        config_init_cbus(m_connection.get(), nullptr);
    }
    // The bus ends and another begins, which this process joins.
    void RestartBus() {
        m_bus.reset();
        m_bus = Start(CBUSD_PROGRAM, {"-a", m_address});
        ASSERT_TRUE(m_bus->awaitOutput("listening")) << m_bus->output();
        Join();
    }

    void StartDatabase() {
        std::vector<std::string> arguments{"-a", m_address,           "-s", m_directory.file("store.db"),
                                           "-f", SHIPPED_FACTORY_FILE};
        arguments.insert(arguments.end(), m_database_options.begin(), m_database_options.end());
        m_database = Start(CONFIGD_PROGRAM, arguments);
        ASSERT_TRUE(m_database->awaitOutput("serving")) << m_database->output();
    }

    [[nodiscard]] std::unique_ptr<Program> Start(const std::string& path,
                                                 const std::vector<std::string>& arguments) {
        const std::string log =
            std::filesystem::path(path).filename().string() + std::to_string(++m_started) + ".log";
        return std::make_unique<Program>(path, arguments, std::map<std::string, std::string>{},
                                         m_directory.file(log));
    }

    // Waits until the database has taken it.
    static int Write(const char* key, const char* text) {
        config_data_t element{CONFIG_TYPE_STRING, key, const_cast<char*>(text), 0, 0, 99};
        return config_modifyv(nullptr, 1, &element);
    }
    static std::string Read(const char* key) {
        char text[256];
        return config_read_string(key, text, sizeof text) == CONFIG_OK ? text : "(no value)";
    }
    static int32_t ReadInt(const char* key) {
        int32_t value = -1;
        config_read_int(key, &value);
        return value;
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

    TempDirectory m_directory;
    std::string m_address = "unix*" + std::filesystem::path(m_directory.path()).filename().string();
    std::vector<std::string> m_database_options;  // besides those that it always gets
    int m_started = 0;
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_database;
    FdLoopPtr m_loop{fdloop_init()};
    ConnectionPtr m_connection;
};
