// SPDX-License-Identifier: MIT

#pragma once

#include <sys/socket.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cbus/socket_helpers.h"
#include "tests/support/BusPeer.h"

// RubbishDatabase: a provider on the real bus in the place of the database. It answers requests whose names
// begin with one of these with the bytes beside it, and all others with nothing.
// Threads: its own.
class RubbishDatabase {
  public:
    using Answers = std::vector<std::pair<std::string, std::string>>;

    RubbishDatabase(const std::string& bus_address, Answers answers)
        : m_peer(UniqueFd(socket_create_client(bus_address.c_str()))), m_answers(std::move(answers)) {
        m_peer.Send(WireMessage{1, 0, 0, 0, "cbus.provide", std::string("config") + '\0'});
        // An answer to what was sent later says that the bus has taken that.
        m_peer.Send(WireMessage{2, 0, 1, 0, "nobody.serves.this", ""});
        m_peer.Receive();
        m_thread = std::thread([this] { serve(); });
    }
    RubbishDatabase(const RubbishDatabase&) = delete;
    RubbishDatabase& operator=(const RubbishDatabase&) = delete;
    ~RubbishDatabase() {
        m_ends = true;
        shutdown(m_peer.fd(), SHUT_RDWR);
        m_thread.join();
    }

    // How many requests have had one of the answers.
    [[nodiscard]] int answered() const { return m_answered; }

  private:
    void serve() {
        while (!m_ends) {
            WireMessage message = m_peer.Receive();
            if (message.type != 2) {
                continue;
            }
            message.type = 3;
            message.data = answerTo(message.name);
            m_peer.Send(message);
        }
    }
    std::string answerTo(const std::string& name) {
        for (const auto& [prefix, bytes] : m_answers) {
            if (name.starts_with(prefix)) {
                ++m_answered;
                return bytes;
            }
        }
        return {};
    }

    std::atomic<bool> m_ends = false;
    std::atomic<int> m_answered = 0;
    BusPeer m_peer;
    const Answers m_answers;
    std::thread m_thread;
};
