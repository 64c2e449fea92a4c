// SPDX-License-Identifier: MIT

#include "RpcClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>

RpcClient::RpcClient(const std::string& socket_path)
    : m_socket(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{10, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket_path.c_str(), sizeof address.sun_path - 1);
    if (connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        m_socket.reset();
    }
}

void RpcClient::send(const std::string& text) {
    [[maybe_unused]] const ssize_t sent = ::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
}

JsonPtr RpcClient::receive() {
    while (true) {
        const char* end = nullptr;
        JsonPtr message(cJSON_ParseWithLengthOpts(m_received.c_str(), m_received.size() + 1, &end, 0));
        if (message) {
            m_received.erase(0, static_cast<size_t>(end - m_received.c_str()));
            return message;
        }
        char buffer[16384];
        const ssize_t n = recv(m_socket.get(), buffer, sizeof buffer, 0);
        if (n <= 0) {
            return nullptr;
        }
        m_received.append(buffer, static_cast<size_t>(n));
    }
}

bool RpcClient::hasArrived() const {
    pollfd look{m_socket.get(), POLLIN, 0};
    return !m_received.empty() || poll(&look, 1, 0) == 1;
}

bool RpcClient::skip(size_t bytes) {
    char buffer[16384];
    while (bytes > 0) {
        const ssize_t n = recv(m_socket.get(), buffer, std::min(bytes, sizeof buffer), 0);
        if (n <= 0) {
            return false;
        }
        bytes -= static_cast<size_t>(n);
    }
    return true;
}

JsonPtr RpcClient::call(const std::string& method, const std::string& params, int id) {
    send(R"({"jsonrpc": "2.0", "method": ")" + method + R"(", "params": )" + params + R"(, "id": )" +
         std::to_string(id) + "}");
    return receive();
}

bool RpcClient::isClosed(int timeout_ms) const {
    pollfd look{m_socket.get(), 0, 0};
    return poll(&look, 1, timeout_ms) == 1 && (look.revents & POLLHUP) != 0;
}
