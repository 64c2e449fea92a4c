#pragma once

#include <string>
#include <vector>

#include "HttpClient.h"

// HttpLoad: keep-alive connections to one server, each with one request under way at any time.
class HttpLoad {
  public:
    // Opens the connections; each keeps the cookie that the server gives to its first request, as a client does.
    HttpLoad(int port, const std::string& target, int connections);

    // Asks for the given time and returns the answers per second. Ends the process on anything but a 200.
    double run(double seconds);

  private:
    struct Connection {
        HttpClient client;
        std::string request;
    };
    std::vector<Connection> m_connections;
};
