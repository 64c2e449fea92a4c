// SPDX-License-Identifier: MIT

#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <functional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

#include "runtime/c_owner.h"
#include "src/base/owners.h"
#include "tests/support/TempDirectory.h"

// ApiPeer: the daemon's end of a connection. Receiving gives up after ten seconds, so a missing message fails a test
// instead of holding it.
class ApiPeer {
  public:
    ApiPeer() = default;
    explicit ApiPeer(UniqueFd fd) : m_fd(std::move(fd)) {
        const timeval limit{10, 0};
        setsockopt(m_fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    [[nodiscard]] bool Connected() const { return m_fd.valid(); }
    void Hang() { m_fd.reset(); }

    // The next request, framed as the daemon frames: up to where all braces balance, those in strings too. Empty when
    // the other end is gone or sends nothing.
    std::string Receive() {
        m_request.clear();
        int depth = 0;
        for (size_t at = 0; at < m_pending.size() || Fill(); ++at) {
            depth += m_pending[at] == '{' ? 1 : 0;
            depth -= m_pending[at] == '}' ? 1 : 0;
            if (depth == 0) {
                m_request = m_pending.substr(0, at + 1);
                m_pending.erase(0, at + 1);
                break;
            }
        }
        return m_request;
    }

    bool Send(std::string_view bytes) {
        return send(m_fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    // A response to the last request: `body` is its result or error with the name of that in front.
    bool Answer(std::string_view body) { return Send(Response(body)); }
    [[nodiscard]] std::string Response(std::string_view body) const {
        const JsonPtr request(cJSON_Parse(m_request.c_str()));
        const double id = cJSON_GetNumberValue(cJSON_GetObjectItem(request.get(), "id"));
        return R"({"jsonrpc": "2.0", )" + std::string(body) + R"(, "id": )" +
               std::to_string(static_cast<int>(id)) + "}";
    }
    // Receives a request and answers it; what was received.
    std::string Serve(std::string_view body) {
        std::string request = Receive();
        Answer(body);
        return request;
    }
    bool Notify(const std::string& kind, const std::string& params) {
        return Send(R"({"jsonrpc": "2.0", "method": ")" + kind + R"(", "params": )" + params + "}");
    }

  private:
    bool Fill() {
        char piece[65536];
        const ssize_t count = recv(m_fd.get(), piece, sizeof piece, 0);
        m_pending.append(piece, count > 0 ? static_cast<size_t>(count) : 0);
        return count > 0;
    }

    UniqueFd m_fd;
    std::string m_pending;  // received and not part of a request yet
    std::string m_request;
};

inline constexpr std::string_view kOkBody = R"("result": {"code": 200})";
inline constexpr std::string_view kCreatedBody = R"("result": {"code": 201})";
inline constexpr std::string_view kNotFoundBody = R"("error": {"code": 404, "message": "Not Found"})";

// FakeApi: the daemon's JSON-RPC socket in a directory of its own.
class FakeApi {
  public:
    FakeApi() : m_listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path().copy(address.sun_path, sizeof address.sun_path - 1);
        bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address);
        listen(m_listener.get(), 5);
    }

    [[nodiscard]] std::string path() const { return m_directory.file("api"); }
    [[nodiscard]] const TempDirectory& directory() const { return m_directory; }

    // Waits for a connection, at most ten seconds.
    ApiPeer Accept() {
        pollfd waiting{m_listener.get(), POLLIN, 0};
        return poll(&waiting, 1, 10000) == 1
                   ? ApiPeer(UniqueFd(accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC)))
                   : ApiPeer();
    }
    // Whether somebody waits to be accepted at this moment.
    [[nodiscard]] bool IsCalled() const {
        pollfd waiting{m_listener.get(), POLLIN, 0};
        return poll(&waiting, 1, 0) == 1;
    }
    // Plays the daemon on the next connection, in a thread of its own. The connection stays until the script hangs up
    // or this object goes.
    void Play(std::function<void(ApiPeer&)> script) {
        m_player = std::jthread([this, script = std::move(script)] {
            m_peer = Accept();
            script(m_peer);
        });
    }
    // Waits for the end of the script.
    void Await() { m_player.join(); }

  private:
    TempDirectory m_directory;
    UniqueFd m_listener;
    ApiPeer m_peer;
    std::jthread m_player;
};
