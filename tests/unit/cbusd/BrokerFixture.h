// SPDX-License-Identifier: MIT

#pragma once

#include <event2/event.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>

#include "cbus/socket_helpers.h"
#include "device/cbusd/Broker.h"
#include "src/base/owners.h"
#include "tests/support/BusPeer.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/pump_until.h"

// BrokerFixture: a broker on the test's own loop and clients over real sockets. The loop runs while a test receives.
class BrokerFixture : public testing::Test {
  protected:
    explicit BrokerFixture(const BrokerOptions& options = {})
        : m_address("unix*cbusd-unit-" + std::to_string(getpid())),
          m_broker(std::make_unique<Broker>(m_base.get(), bus_listen(m_address.c_str()),
                                            AccessList(geteuid()), options)) {}

    BusPeer Connect() {
        const size_t count = m_broker->client_count();
        BusPeer peer(UniqueFd(socket_create_client(m_address.c_str())));
        EXPECT_TRUE(RunUntil([&] { return m_broker->client_count() == count + 1; }));
        return peer;
    }

    bool RunUntil(const std::function<bool()>& condition) { return pump_until(m_base.get(), condition); }

    // The next message for this client; type 0 when none comes or it was disconnected.
    WireMessage Receive(BusPeer& peer) {
        return RunUntil([&] { return peer.HasMessage(); }) ? peer.Receive() : WireMessage{};
    }

    // Lets the broker handle all that this client has sent: an unserved request comes back empty at once.
    void Settle(BusPeer& peer) {
        const WireMessage probe{2, 0, 0xfffe, 0, "nobody.serves.this", ""};
        peer.Send(probe);
        WireMessage reply = probe;
        reply.type = 3;
        EXPECT_EQ(Receive(peer), reply);
    }

    void Filter(BusPeer& peer, const std::string& text) { Control(peer, "cbus.filter", text); }
    void Provide(BusPeer& peer, const std::string& text) { Control(peer, "cbus.provide", text); }

    // Disconnected, with nothing more to read.
    bool IsDisconnected(BusPeer& peer) {
        return RunUntil([&] { return peer.IsReadable(); }) && peer.ReceiveBytes(1).empty();
    }

    // What log lines call a client of this process.
    static std::string Named(ClientId id) {
        const passwd* user = getpwuid(geteuid());
        return "client " + std::to_string(id) + " (pid " + std::to_string(getpid()) + ", user " +
               user->pw_name + ", program unit_cbusd)";
    }

    CapturedLog m_log;
    std::string m_address;
    EventBasePtr m_base{event_base_new()};
    std::unique_ptr<Broker> m_broker;

  private:
    void Control(BusPeer& peer, const char* name, std::string text) {
        text.push_back('\0');
        peer.Send(WireMessage{1, 0, 0, 0, name, text});
        Settle(peer);
    }
};
