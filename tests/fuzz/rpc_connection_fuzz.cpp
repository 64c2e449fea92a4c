// SPDX-License-Identifier: MIT

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <event2/event.h>

#include "RestTree.h"
#include "fuzz_check.h"
#include "src/base/json_helpers.h"
#include "src/frame/RPCTransportListener.h"
#include "src/rpc/RPCServer.h"
#include "src/rpc/SocketTransport.h"
#include "src/rpc/rest_bridge.h"

namespace {

// Knows how many connections are live.
class CountingListener : public RPCTransportListener {
  public:
    using RPCTransportListener::RPCTransportListener;
    void addTransport(RPCTransport* transport) override {
        ++live;
        RPCTransportListener::addTransport(transport);
    }
    void removeTransport(RPCTransport* transport) override {
        --live;
        RPCTransportListener::removeTransport(transport);
    }
    int live = 0;
};

// The daemon's JSON-RPC side, alive until the process ends.
class Daemon {
  public:
    Daemon() {
        m_server.registerTransportLisetner(&m_listener);
        m_server.registerMethod("create", &m_create);
        m_server.registerMethod("read", &m_read);
        m_server.registerMethod("update", &m_update);
        m_server.registerMethod("delete", &m_delete);
        fuzz_check(m_transport.listen(path().c_str()));
    }

    [[nodiscard]] std::string path() const { return m_directory.file("rpc"); }
    [[nodiscard]] RestTree& resources() { return m_resources; }
    [[nodiscard]] int connections() const { return m_listener.live; }
    void turn() { event_base_loop(m_base.get(), EVLOOP_NONBLOCK); }

  private:
    TempDirectory m_directory;
    EventBasePtr m_base{event_base_new()};
    RestTree m_resources;
    CountingListener m_listener{m_resources.notifications()};
    RPCCreate m_create{m_resources.notifications()};
    RPCRead m_read{m_resources.notifications()};
    RPCUpdate m_update{m_resources.notifications()};
    RPCDelete m_delete{m_resources.notifications()};
    RPCServer m_server;
    SocketTransport m_transport{&m_server, m_base.get()};
};

bool is_text(const cJSON* object, const char* name) {
    return cJSON_GetObjectString(object, name) != nullptr;
}

// A notification, or a response with a result or an error.
void check_message(const cJSON* message) {
    fuzz_check(is_text(message, "jsonrpc"));
    const auto has = [&](const char* name) { return cJSON_HasObjectItem(message, name) != 0; };
    if (has("method")) {
        fuzz_check(!has("id") && is_text(cJSON_GetObjectObject(message, "params"), "path"));
    } else {
        fuzz_check(has("id") && has("result") != has("error"));
    }
}

class Client {
  public:
    explicit Client(Daemon& daemon) : m_daemon(daemon) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        daemon.path().copy(address.sun_path, sizeof address.sun_path - 1);
        fuzz_check(connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
        fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
        turn();
        fuzz_check(m_daemon.connections() == 1);
    }

    void send(std::string_view bytes) {
        while (!bytes.empty()) {
            const ssize_t n = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            bytes.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
            turn();
            if (n < 0 && errno != EAGAIN) {
                return;
            }
        }
    }
    // Turns the loop until nothing more comes.
    void turn() {
        for (int quiet = 0; quiet < 2;) {
            m_daemon.turn();
            quiet = receive() ? 0 : quiet + 1;
        }
    }
    void close() { m_socket.reset(); }

    void check_messages() const {
        for (const char* rest = m_received.c_str(); *rest != '\0';) {
            const JsonPtr message(cJSON_ParseWithOpts(rest, &rest, 0));
            fuzz_check(message != nullptr);
            check_message(message.get());
        }
    }

  private:
    bool receive() {
        char block[16384];
        const ssize_t n = recv(m_socket.get(), block, sizeof block, 0);
        m_received.append(block, n > 0 ? static_cast<size_t>(n) : 0);
        return n > 0;
    }

    Daemon& m_daemon;
    UniqueFd m_socket{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
    std::string m_received;
};

}  // namespace

// What a client sends on a connection, in two parts, cut at the first byte's value (in eighths), with a change in the
// database behind it. The client is sent whole messages only, and nothing is left of the connection.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    static Daemon& daemon = *new Daemon;
    const std::string_view stream(reinterpret_cast<const char*>(data + 1), size - 1);
    const size_t cut = stream.size() * (data[0] % 8U) / 8;
    Client client(daemon);
    client.send(stream.substr(0, cut));
    client.send(stream.substr(cut));
    daemon.resources().change("{", data[0]);
    client.turn();
    client.check_messages();
    client.close();
    daemon.turn();
    daemon.turn();
    fuzz_check(daemon.connections() == 0);
    daemon.resources().reset();
    return 0;
}
