// SPDX-License-Identifier: MIT

#pragma once

#include <event2/event.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "src/rpc/RPCServer.h"
#include "src/rpc/SocketTransport.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RpcFakes.h"
#include "tests/support/TempDirectory.h"

inline constexpr const char* kNotFoundOne =
    R"({"jsonrpc":"2.0","error":{"code":-32601,"message":"Method not found"},"id":1})";

// The program at the other end of the socket.
class Client {
  public:
    Client(event_base* loop, const std::string& path)
        : m_loop(loop), m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        m_connected = connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    }

    bool isConnected() const { return m_connected; }

    // Turns the loop while the server does not take all of it.
    void Send(std::string_view text) {
        while (!text.empty()) {
            const ssize_t sent = send(m_socket.get(), text.data(), text.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
            if (sent > 0) {
                text.remove_prefix(static_cast<size_t>(sent));
            } else if (errno != EAGAIN) {
                return;
            }
            event_base_loop(m_loop, EVLOOP_NONBLOCK);
        }
    }

    // What has come already, without turning the loop.
    std::string ReceiveNow() {
        char bytes[4096];
        const ssize_t n = recv(m_socket.get(), bytes, sizeof bytes, MSG_DONTWAIT);
        return {bytes, n > 0 ? static_cast<size_t>(n) : 0};
    }

    // The next message that the server sends, without blanks; empty when it has closed.
    std::string Receive() {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (std::chrono::steady_clock::now() < deadline) {
            const char* end = nullptr;
            // Without its end a long text is not read through again and again.
            const bool has_end = m_received.find('}') != std::string::npos;
            const JsonPtr message(has_end ? cJSON_ParseWithOpts(m_received.c_str(), &end, false) : nullptr);
            if (message != nullptr) {
                m_received.erase(0, static_cast<size_t>(end - m_received.c_str()));
                return print_compact(message.get());
            }
            event_base_loop(m_loop, EVLOOP_NONBLOCK);
            char bytes[65536];
            const ssize_t count = recv(m_socket.get(), bytes, sizeof bytes, MSG_DONTWAIT);
            if (count == 0 || (count < 0 && errno != EAGAIN)) {
                return {};
            }
            m_received.append(bytes, static_cast<size_t>(std::max<ssize_t>(count, 0)));
        }
        return "nothing came";
    }

    void SendEnd() { shutdown(m_socket.get(), SHUT_WR); }
    // With unread data this resets the connection.
    void Close() { m_socket.reset(); }
    int Descriptor() const { return m_socket.get(); }

  private:
    event_base* m_loop;
    UniqueFd m_socket;
    bool m_connected = false;
    std::string m_received;
};

// A server that listens on a socket of its own, in one thread with its clients.
class RpcSocketFixture : public ::testing::Test {
  protected:
    void SetUp() override {
        server.registerTransportLisetner(&listener);
        server.registerMethod("echo", &echo);
        listening = std::make_unique<SocketTransport>(&server, loop.get());
        ASSERT_TRUE(listening->listen(path.c_str()));
    }

    void TearDown() override {
        while (!listener.live().empty()) {
            SocketTransport::destroy(static_cast<SocketTransport*>(listener.live().front()));
        }
        Turn();  // libevent closes a descriptor one turn after its bufferevent is freed
        listening.reset();
    }

    Client Connect() { return {loop.get(), path}; }
    void Turn() { event_base_loop(loop.get(), EVLOOP_NONBLOCK); }
    // Turns the loop until the condition holds, 5 s at most.
    testing::AssertionResult Until(const std::function<bool()>& condition) {
        const timeval tick = {0, 5000};
        for (int i = 0; i < 1000 && !condition(); ++i) {
            event_base_loopexit(loop.get(), &tick);
            event_base_dispatch(loop.get());
        }
        return condition() ? testing::AssertionSuccess() : testing::AssertionFailure() << "it never came";
    }
    testing::AssertionResult UntilConnections(size_t count) {
        return Until([this, count] { return listener.live().size() == count; });
    }

    TempDirectory directory;
    std::string path = directory.file("socket");
    CapturedLog log;
    EventBasePtr loop{event_base_new()};
    RPCServer server;
    RecordingListener listener;
    ScriptedMethod echo{[](cJSON* params, bool& isResult, RPCTransport*) {
        isResult = true;
        return JsonPtr(cJSON_Duplicate(params, true));
    }};
    std::unique_ptr<SocketTransport> listening;
};
