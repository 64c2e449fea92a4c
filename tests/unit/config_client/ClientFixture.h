// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "runtime/c_owner.h"
#include "runtime/fdloop_libevent.h"
#include "tests/support/FakeDatabase.h"

// A word of a payload, and several.
inline std::string Word(int64_t value) {
    const auto word = static_cast<uint32_t>(value);
    return {reinterpret_cast<const char*>(&word), sizeof word};
}
inline std::string Words(const std::vector<int64_t>& values) {
    std::string bytes;
    for (const int64_t value : values) {
        bytes += Word(value);
    }
    return bytes;
}

struct VbufEntry {
    std::string name;
    uint32_t type;
    std::string data;
    int status = 0;

    bool operator==(const VbufEntry&) const = default;
};

inline std::string Vbuf(const std::vector<VbufEntry>& entries) {
    void* buffer = nullptr;
    size_t used = 0;
    for (const VbufEntry& entry : entries) {
        used = config_vbuf_add(&buffer, used, nullptr, entry.type, entry.name.c_str(), entry.data.data(),
                               static_cast<uint32_t>(entry.data.size()), entry.status);
    }
    const Malloced<char> owner(static_cast<char*>(buffer));
    return {owner.get(), used};
}

// The client of a database at the other end of the bus.
class ConfigClient : public testing::Test {
  protected:
    // The first answer tells that the other end has taken the connection, and may send by itself.
    ConfigClient() {
        config_init_cbus(m_connection.get(), nullptr);
        config_status("ram.none", nullptr);
    }

    // The data of the message with this name, once it has come.
    std::string SentUnder(const std::string& name) {
        // Messages are taken in order: what was sent before this request is there when its reply is.
        config_status("ram.none", nullptr);
        for (const BusMessage& message : m_database.messages()) {
            if (message.name == name) {
                return message.data;
            }
        }
        return "(none)";
    }
    // Lets the client handle what has been sent to it: requests take up all that came before their reply, and the
    // next turn of the loop dispatches it.
    void Dispatch() {
        config_status("ram.none", nullptr);
        fdloop_timer_add(
            m_loop.get(), 0, [](void*, int, _fdloop_timer_t*) {}, nullptr);
        fdloop_run(m_loop.get());
    }
    void Signal(const std::string& name, const std::string& data) {
        m_database.sendSignal(name, data);
        Dispatch();
    }

    FakeDatabase m_database;
    FdLoopPtr m_loop{fdloop_init()};
    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection{cbus_conn_create(m_loop.get(), "CBUS_CONNECTION")};
};
