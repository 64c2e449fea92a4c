// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "HttpClient.h"

// HttpLoad: keep-alive connections to one server, each with one request under way at any time.
class HttpLoad {
  public:
    // Opens the connections; each keeps the cookie that the server gives to its first request, as a client does.
    HttpLoad(int port, const std::string& target, int connections);
    // Each connection sends the next of the requests, whole as they are, over and over.
    HttpLoad(int port, std::vector<std::string> requests, int connections);

    // Asks for the given time and returns the answers per second. Ends the process on anything but a 200.
    double run(double seconds);

  private:
    void sendNext(HttpClient& client) { client.send(m_requests[m_next++ % m_requests.size()]); }

    std::vector<HttpClient> m_connections;
    std::vector<std::string> m_requests;
    size_t m_next = 0;
};
