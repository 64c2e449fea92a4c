// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "runtime/c_owner.h"

// Floors run in processes of their own, forked from the bench and pinned like what they stand beside.

// A bare evhttp server that prints `json` (an object's text) anew for every request. It serves when it is made.
class HttpFloor {
  public:
    explicit HttpFloor(const std::string& json);
    HttpFloor(const HttpFloor&) = delete;
    HttpFloor& operator=(const HttpFloor&) = delete;
    ~HttpFloor();

    [[nodiscard]] int port() const { return m_port; }

  private:
    int m_port;
    pid_t m_pid;
};

// A bare server on a Unix socket that parses each JSON-RPC call and prints anew the answer whose data is `json`. It
// serves when it is made; the socket file is the caller's.
class RpcFloor {
  public:
    RpcFloor(const std::string& path, const std::string& json);
    RpcFloor(const RpcFloor&) = delete;
    RpcFloor& operator=(const RpcFloor&) = delete;
    ~RpcFloor();

  private:
    pid_t m_pid;
};

// A relay and a server behind it on Unix sockets, each reading and writing whole messages with one call.
class RawRelay {
  public:
    RawRelay();
    RawRelay(const RawRelay&) = delete;
    RawRelay& operator=(const RawRelay&) = delete;
    ~RawRelay();

    // Sends that many bytes, at most 4096, through the relay to the server and waits for them to come back.
    void roundTrip(size_t bytes);

  private:
    UniqueFd m_socket;
    pid_t m_relay = -1;
    pid_t m_server = -1;
};
