// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <string>
#include <vector>

#include "runtime/c_owner.h"

struct HttpResponse {
    int status = 0;  // 0: the connection ended before a whole response
    std::string reason;
    std::multimap<std::string, std::string> headers;
    std::string body;

    // The first header of that name, as sent; empty when there is none.
    [[nodiscard]] std::string header(const std::string& name) const;
};

// HttpClient: one connection to a server on the loopback, blocking, with a limit of ten seconds a read.
class HttpClient {
  public:
    explicit HttpClient(int port);

    [[nodiscard]] bool connected() const { return m_socket.valid(); }

    // Sends a whole request and reads its response; the connection stays open.
    HttpResponse request(const std::string& method, const std::string& target, const std::string& body = "",
                         const std::vector<std::string>& headers = {});

    // Raw bytes, for requests that no client would write.
    void send(const std::string& bytes);
    HttpResponse receive(bool has_body = true);
    // Whether something of an answer is there; waits for it at most so long, and reads nothing.
    [[nodiscard]] bool hasArrived(int timeout_ms) const;
    void close() { m_socket.reset(); }
    void reset();
    // Ends our side of the connection.
    void endSending();

    // Whether the server has closed the connection; waits for that at most ten seconds.
    [[nodiscard]] bool awaitClose();

  private:
    bool fill();
    bool take(const std::string& end, std::string& text);
    bool takeBytes(const HttpResponse& response, std::string& body);
    bool takeChunks(std::string& body);
    HttpResponse parseHead(const std::string& head);

    UniqueFd m_socket;
    std::string m_received;
};
