// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include "cbus/cbus.h"
#include "cbus/socket_helpers.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/BusPeer.h"

using ConnectionPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

// FakeBus: the bus's side of one connection, played by the test, and the client under test on its loop.
class FakeBus : public testing::Test {
  protected:
    FakeBus()
        : m_address("unix*cbus-unit-" + std::to_string(getpid())),
          m_listener(socket_create_server(m_address.c_str())) {
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        unsetenv("CBUS_DEBUG");
        Connect();
    }

    void Connect() {
        m_connection.reset(cbus_conn_create(m_loop.get(), "CBUS_CONNECTION"));
        m_bus = BusPeer(UniqueFd(socket_create_server_client(m_listener.get())));
    }

    _cbus_conn_t* connection() { return m_connection.get(); }
    int SourceTag() { return m_connection->socket & 0xff; }
    // Lets the client's loop handle what the bus has sent.
    void Turn() { fdloop_run(m_loop.get()); }

    std::string m_address;
    UniqueFd m_listener;
    BusPeer m_bus;
    FdLoopPtr m_loop{fdloop_init()};
    ConnectionPtr m_connection;
};
