// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "config_client/config_client_api.h"
#include "runtime/c_owner.h"

struct cbus_rx_message_t;

// A message that the process under test has sent.
struct BusMessage {
    uint8_t type;
    std::string name;
    std::string data;
};

// FakeDatabase: the other end of the bus for the process under test: it takes one client after the other and answers
// like bus and database in one, from keys in memory. While it lives CBUS_ADDR points at it.
// Threads: its own for the socket; every method may be called from the test's.
class FakeDatabase {
  public:
    struct Value {
        uint32_t type;
        std::string bytes;
        bool operator==(const Value&) const = default;
    };

    FakeDatabase();
    ~FakeDatabase();
    FakeDatabase(const FakeDatabase&) = delete;
    FakeDatabase& operator=(const FakeDatabase&) = delete;

    [[nodiscard]] const std::string& address() const { return m_address; }

    // Without an announcement: what was there before.
    void setString(const std::string& key, const std::string& text);
    void setInt(const std::string& key, int32_t value);
    void setBinary(const std::string& key, const std::string& bytes);
    void erase(const std::string& key);
    // A null object when the key is not there: type 0.
    [[nodiscard]] Value value(const std::string& key);
    [[nodiscard]] std::string text(const std::string& key);

    // Sends one "config.change." signal with these keys as they are now; a key that is not there is a deleted one.
    void announce(const std::vector<std::string>& keys);
    void sendSignal(const std::string& name, const std::string& data);

    // Whether requests are answered; an answer is empty when they are not, as the bus gives it for a database that
    // is not there.
    void answer(bool on) { m_answers = on; }
    // The bytes of the next reply, whatever the request.
    void replyNextWith(const std::string& data);
    void closeConnection();
    // As new, but for the connection: no keys, nothing received.
    void reset();

    // Everything received so far, oldest first.
    [[nodiscard]] std::vector<BusMessage> messages();
    // Waits, five seconds at most, until a message whose name begins so has come; false when none has.
    [[nodiscard]] bool waitFor(const std::string& name_prefix);

  private:
    void serve();
    void serveClient(int client);
    void handle(const cbus_rx_message_t& message);
    std::string replyTo(const std::string& operation, const std::string& argument, const std::string& data);
    void applySignal(const std::string& operation, const std::string& argument, const std::string& data);
    std::string read(const std::string& key, const std::string& data);
    std::string readVector(const std::string& prefix, const std::string& data);
    std::string readPattern(const std::string& pattern_text);
    std::string writeVector(const std::string& prefix, const std::string& data);
    void store(const std::string& key, const Value& value);
    void announceLocked(const std::vector<std::string>& keys);
    void send(uint8_t type, const std::string& name, const std::string& data,
              const cbus_rx_message_t* request);

    std::string m_address;
    UniqueFd m_listener;
    std::atomic<bool> m_answers = true;
    std::mutex m_mutex;  // guards what follows
    std::condition_variable m_received;
    UniqueFd m_client;
    std::map<std::string, Value> m_values;
    std::vector<BusMessage> m_messages;
    std::vector<std::string> m_next_replies;
    std::vector<std::string> m_changed;  // by the signal that is being applied
    std::thread m_thread;
};
