// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <utility>

#include "BrokerFixture.h"
#include "src/base/json_helpers.h"

inline constexpr size_t kMebi = size_t{1} << 20;
inline constexpr size_t kNever = SIZE_MAX;

// A client's messages, one after the other as fast as they are taken, numbered by their seqn.
class Flood {
  public:
    Flood(BusPeer& peer, WireMessage message, size_t count = kNever)
        : m_peer(peer), m_message(std::move(message)), m_left(count) {
        socket_set_blocking(peer.fd(), false);
    }

    // Sends what is taken now; false when nothing is.
    bool Push() {
        size_t taken_before = m_taken;
        while (!IsDone()) {
            if (m_bytes.empty()) {
                m_bytes = Bytes(m_message);
                ++m_message.seqn;
            }
            const ssize_t n = send(m_peer.fd(), m_bytes.data(), m_bytes.size(), MSG_NOSIGNAL);
            if (n <= 0) {
                break;
            }
            m_taken += static_cast<size_t>(n);
            m_bytes.erase(0, static_cast<size_t>(n));
            if (m_bytes.empty() && m_left != kNever) {
                --m_left;
            }
        }
        return m_taken != taken_before;
    }
    [[nodiscard]] bool IsDone() const { return m_left == 0; }
    void EndAfterThisMessage() { m_left = m_bytes.empty() ? 0 : 1; }
    [[nodiscard]] size_t taken() const { return m_taken; }

  private:
    BusPeer& m_peer;
    WireMessage m_message;
    size_t m_left;
    size_t m_taken = 0;
    std::string m_bytes;  // of the message that is being sent
};

class BusFlow : public BrokerFixture {
  protected:
    static BrokerOptions Patient() {
        BrokerOptions options;
        options.check_interval_ms = 5;
        // Of a test that takes long under a sanitizer nobody is ended for his slowness.
        options.slow.stalled_ms = 600'000;
        return options;
    }
    static BrokerOptions Impatient() {
        BrokerOptions options = Patient();
        options.slow.stalled_ms = 40;
        return options;
    }
    explicit BusFlow(const BrokerOptions& options = Patient()) : BrokerFixture(options) {}

    // Until the broker takes no more, all is out, or somebody has been disconnected: messages to nobody have no end.
    void PushUntilStuck(Flood& flood) {
        const size_t clients = m_broker->client_count();
        for (int idle_turns = 0; idle_turns < 20 && !flood.IsDone() && m_broker->client_count() == clients;
             ++idle_turns) {
            if (flood.Push()) {
                idle_turns = 0;
            }
            event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
        }
    }
    // Reads so many bytes of whatever comes.
    void Take(BusPeer& peer, size_t bytes) {
        socket_set_blocking(peer.fd(), false);
        EXPECT_TRUE(RunUntil([&] {
            bytes -= peer.ReceiveBytes(std::min(bytes, size_t{65536})).size();
            return bytes == 0;
        }));
        socket_set_blocking(peer.fd(), true);
    }
    void RunFor(uint32_t time_ms) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(time_ms);
        RunUntil([&] { return std::chrono::steady_clock::now() >= end; });
    }
    // `count` messages numbered from 0, while the flood goes on.
    void ReceiveAll(BusPeer& peer, Flood& flood, int count) {
        socket_set_blocking(peer.fd(), true);
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(RunUntil([&] {
                flood.Push();
                return peer.HasMessage();
            }));
            ASSERT_EQ(peer.Receive().seqn, i);
        }
    }
    // What the broker tells `asker` that waits for a client.
    size_t QueuedFor(ClientId id, BusPeer& asker) {
        socket_set_blocking(asker.fd(), true);
        asker.Send(WireMessage{2, 0, 0, 0, "cbus.status", ""});
        const JsonPtr status = json_parse(Receive(asker).data.c_str());
        const cJSON* client = nullptr;
        cJSON_ArrayForEach(client, cJSON_GetObjectArray(status.get(), "clients")) {
            if (cJSON_GetObjectNumber(client, "id")->valuedouble == id) {
                return static_cast<size_t>(cJSON_GetObjectNumber(client, "queued_bytes")->valuedouble);
            }
        }
        return 0;
    }
    // Requests numbered from 0.
    void Ask(BusPeer& origin, int count) {
        for (int i = 0; i < count; ++i) {
            origin.Send(WireMessage{2, 0, i, 0, "config.read", ""});
            event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
        }
    }
    static WireMessage Signal(const char* name = "s", size_t bytes = 20'000) {
        return {1, 0, 0, 0, name, std::string(bytes, 'd')};
    }
    static WireMessage ReplyTo(WireMessage request, size_t bytes) {
        request.type = 3;
        request.data.assign(bytes, 'r');
        return request;
    }

    BusPeer m_writer = Connect();
    BusPeer m_receiver = Connect();
};
