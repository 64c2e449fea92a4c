// SPDX-License-Identifier: MIT

#pragma once

#include <functional>

#include <event2/event.h>
#include <gtest/gtest.h>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "runtime/fdloop_libevent.h"
#include "src/base/owners.h"
#include "tests/support/FakeDatabase.h"

using BusPtr = COwned<_cbus_conn_t, cbus_conn_destroy>;

// ConfigFixture: the configuration client on a bus with a database at its other end.
class ConfigFixture : public ::testing::Test {
  protected:
    ConfigFixture()
        : m_base(event_base_new()),
          m_loop(fdloop_init_libevent(m_base.get())),
          m_bus(cbus_conn_create(m_loop.get(), "test")) {
        config_init_cbus(m_bus.get(), nullptr);
        waitForDatabase();
    }

    // An answer shows that the database has taken the connection and everything sent on it before.
    static void waitForDatabase() {
        int32_t value = 0;
        static_cast<void>(config_read_int("cfg.any", &value));
    }

    // Turns the loop until the condition holds; false when it does not within five seconds.
    bool turnUntil(const std::function<bool()>& condition) {
        bool in_time = true;
        const EventPtr timeout(evtimer_new(
            m_base.get(), [](evutil_socket_t, short, void* flag) { *static_cast<bool*>(flag) = false; },
            &in_time));
        constexpr timeval kPatience{5, 0};
        evtimer_add(timeout.get(), &kPatience);
        while (!condition() && in_time) {
            fdloop_run(m_loop.get());
        }
        return in_time;
    }

    FakeDatabase m_database;
    EventBasePtr m_base;
    FdLoopPtr m_loop;
    BusPtr m_bus;
};
