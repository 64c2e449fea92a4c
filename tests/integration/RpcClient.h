// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

#include "runtime/c_owner.h"
#include "src/base/owners.h"

// RpcClient: one connection to the daemon's JSON-RPC socket, blocking, with a limit of ten seconds a read.
class RpcClient {
  public:
    explicit RpcClient(const std::string& socket_path);

    [[nodiscard]] bool connected() const { return m_socket.valid(); }

    void send(const std::string& text);
    // The next whole message, a response or a notification; null at the end of the connection.
    JsonPtr receive();
    // Whether something has come that was not received yet; does not wait.
    [[nodiscard]] bool hasArrived() const;
    // Reads that many bytes and throws them away; false at the end of the connection.
    bool skip(size_t bytes);
    // One call of a method with these params (JSON text): the whole response.
    JsonPtr call(const std::string& method, const std::string& params, int id = 1);

    void close() { m_socket.reset(); }
    // Whether the daemon has closed the connection; waits for that at most so long, and reads nothing.
    [[nodiscard]] bool isClosed(int timeout_ms = 10000) const;

  private:
    UniqueFd m_socket;
    std::string m_received;
};
