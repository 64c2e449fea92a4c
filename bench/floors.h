#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>

#include "runtime/c_owner.h"

// Floors run in processes of their own, forked from the bench and pinned like what they stand beside.

// A bare evhttp server that prints `json` (an object's text) anew for every request. Returns its process id; the
// port is the one given.
pid_t floor_http_start(int port, const char* json);

// A bare server on a Unix socket that parses each JSON-RPC call and prints anew the answer whose data is `json`.
// Returns its process id; the socket file is the caller's.
pid_t floor_rpc_start(const std::string& path, const char* json);

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
