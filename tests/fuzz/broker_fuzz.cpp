// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <event2/event.h>

#include "cbus/socket_helpers.h"
#include "device/cbusd/Broker.h"
#include "device/cbusd/MessageReader.h"
#include "fuzz_check.h"

namespace {

// Small, so that clients are held for each other with little data. No time limit is met within a run.
BrokerOptions small_limits() {
    BrokerOptions options;
    options.flow = {
        .nearly_empty_bytes = 256, .full_bytes = 1024, .no_longer_over_bytes = 2048, .over_bytes = 4096};
    options.monitors = {.waiting_bytes = 2048, .caught_up_bytes = 256};
    options.admission.clients = 6;
    return options;
}

std::string address() {
    return "unix*broker-fuzz-" + std::to_string(getpid());
}

std::string message(uint8_t type, uint16_t seqn, uint16_t tag, std::string_view name, std::string_view data) {
    const cbus_header_t header{
        type, 7, seqn, tag, static_cast<uint16_t>(name.size() + 1), static_cast<uint32_t>(data.size())};
    std::string bytes(reinterpret_cast<const char*>(&header), sizeof header);
    bytes += name;
    bytes.resize(bytes.size() + cbus_pad4(name.size() + 1) - name.size(), '\0');
    bytes += data;
    bytes.resize(bytes.size() + cbus_pad4(data.size()) - data.size(), '\0');
    return bytes;
}

// A client's end of a connection. Everything that the broker sends has to be a bus message in the broker's own eyes.
class Client {
  public:
    Client() : m_socket(socket_create_client(address().c_str())) {
        fuzz_check(m_socket.valid());
        fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
    }

    void send(std::string_view bytes) { m_unsent += bytes; }
    void signal(std::string_view name, std::string_view data) {
        send(message(CBUS_SIGNAL, 0, 0, name, data));
    }
    void request(std::string_view name, std::string_view data) {
        send(message(CBUS_REQUEST, m_next_seqn++, 0, name, data));
    }
    // Answers the oldest request that came and was not answered yet.
    void reply(std::string_view data) {
        if (!m_asked.empty()) {
            const auto [header, name] = m_asked.front();
            m_asked.erase(m_asked.begin());
            send(message(CBUS_REPLY, header.seqn, header.reserved, name, data));
        }
    }
    void end_sending() { m_ends_sending = true; }

    // True when bytes moved.
    bool move_bytes() {
        const bool has_sent = flush();
        return receive() || has_sent;
    }

    [[nodiscard]] uint16_t requests() const { return m_next_seqn; }
    [[nodiscard]] uint16_t replies() const { return m_replies; }
    [[nodiscard]] bool is_disconnected() const { return m_is_disconnected; }
    bool is_reading = true;

  private:
    bool flush() {
        const ssize_t n = ::send(m_socket.get(), m_unsent.data(), m_unsent.size(), MSG_NOSIGNAL);
        if (n > 0) {
            m_unsent.erase(0, static_cast<size_t>(n));
        }
        if (m_unsent.empty() && std::exchange(m_ends_sending, false)) {
            shutdown(m_socket.get(), SHUT_WR);
            return true;
        }
        return n > 0;
    }
    bool receive() {
        if (!is_reading || m_is_disconnected) {
            return false;
        }
        const auto room = m_reader.room();
        const ssize_t n = recv(m_socket.get(), room.data(), room.size(), 0);
        if (n > 0) {
            m_reader.commit(static_cast<size_t>(n));
            take_messages();
        }
        m_is_disconnected = n == 0 || (n < 0 && errno != EAGAIN);
        return n > 0;
    }
    void take_messages() {
        BusMessage received;
        MessageReader::Result result;
        while ((result = m_reader.next(received)) == MessageReader::Result::kMessage) {
            if (received.header.type == CBUS_REQUEST) {
                m_asked.emplace_back(received.header, received.name);
            } else if (received.header.type == CBUS_REPLY) {
                ++m_replies;
            }
        }
        fuzz_check(result == MessageReader::Result::kIncomplete);
    }

    UniqueFd m_socket;
    MessageReader m_reader;
    std::string m_unsent;
    std::vector<std::pair<cbus_header_t, std::string>> m_asked;
    uint16_t m_next_seqn = 0;
    uint16_t m_replies = 0;
    bool m_ends_sending = false;
    bool m_is_disconnected = false;
};

// The script of a run: bytes that say what the clients do.
class Script {
  public:
    Script(const uint8_t* data, size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    [[nodiscard]] bool is_over() const { return m_rest.empty(); }
    uint8_t byte() {
        const std::string_view taken = take(1);
        return taken.empty() ? uint8_t{0} : static_cast<uint8_t>(taken.front());
    }
    // A text with its length in front.
    std::string_view text() { return take(byte()); }
    // The same without a NUL.
    std::string_view name() {
        const std::string_view taken = text();
        return taken.substr(0, taken.find('\0'));
    }

  private:
    std::string_view take(size_t size) {
        const std::string_view taken = m_rest.substr(0, size);
        m_rest.remove_prefix(taken.size());
        return taken;
    }

    std::string_view m_rest;
};

class Bus {
  public:
    Bus() : m_broker(m_base.get(), bus_listen(address().c_str()), AccessList(geteuid()), small_limits()) {}

    void play(Script& script);
    // The first client behaves: everything that it has asked is answered when nobody else is left.
    void end();

  private:
    static constexpr size_t kClients = 8;

    void act(Script& script, std::optional<Client>& client, bool may_misbehave);
    void turn();

    EventBasePtr m_base{event_base_new()};
    Broker m_broker;
    std::array<std::optional<Client>, kClients> m_clients;
};

void Bus::play(Script& script) {
    m_clients[0].emplace();
    turn();
    while (!script.is_over()) {
        const size_t number = script.byte() % kClients;
        if (m_clients[number]) {
            act(script, m_clients[number], number > 0);
        } else {
            m_clients[number].emplace();
        }
        turn();
    }
}

// The first client neither serves a name nor breaks a rule.
void Bus::act(Script& script, std::optional<Client>& client, bool may_misbehave) {
    constexpr size_t kMuch = 60000;
    const unsigned action = script.byte() % (may_misbehave ? 13U : 7U);
    const std::string_view name = action < 3 || action == 7 ? script.name() : "a.much";
    switch (action) {
        case 0:
            return client->signal("cbus.filter", std::string(name) + '\0');
        case 1:
            return client->request(name, script.text());
        case 2:
            return client->signal("a." + std::string(name), script.text());
        case 3:
            return client->signal(name, std::string(kMuch, 'm'));
        case 4:
            return client->request(name, std::string(kMuch, 'm'));
        case 5:
        case 6:
            client->is_reading = action == 6;
            return;
        case 7:
            return client->signal("cbus.provide", std::string(name) + '\0');
        case 8:
            return client->reply(script.text());
        case 9:
            return client->send(script.text());  // as it is
        case 10:
            return client->signal("cbus.monitor", {});
        case 11:
            return client->end_sending();
        default:
            client.reset();
    }
}

// Turns the loop until nothing moves any more.
void Bus::turn() {
    for (int quiet = 0; quiet < 2;) {
        event_base_loop(m_base.get(), EVLOOP_NONBLOCK);
        bool has_moved = false;
        for (auto& client : m_clients) {
            has_moved |= client && client->move_bytes();
        }
        quiet = has_moved ? 0 : quiet + 1;
    }
}

void Bus::end() {
    for (size_t n = 1; n < kClients; ++n) {
        m_clients[n].reset();
        turn();
    }
    Client& first = *m_clients[0];
    first.is_reading = true;
    turn();
    fuzz_check(!first.is_disconnected() && first.replies() == first.requests());
    fuzz_check(m_broker.client_count() == 1);
    m_clients[0].reset();
    turn();
    fuzz_check(m_broker.client_count() == 0);
}

}  // namespace

// What clients of a bus do: connect, filter, provide, signal, ask, answer, send anything, stop reading, leave.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Script script(data, size);
    Bus bus;
    bus.play(script);
    bus.end();
    return 0;
}
