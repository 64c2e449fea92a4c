// SPDX-License-Identifier: MIT

#include "HttpClient.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cstdlib>
#include <sstream>

std::string HttpResponse::header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

HttpClient::HttpClient(int port) : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{10, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(m_socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        m_socket.reset();
    }
}

HttpResponse HttpClient::request(const std::string& method, const std::string& target,
                                 const std::string& body, const std::vector<std::string>& headers) {
    std::ostringstream text;
    text << method << ' ' << target << " HTTP/1.1\r\nHost: localhost\r\n";
    for (const std::string& header : headers) {
        text << header << "\r\n";
    }
    if (!body.empty()) {
        text << "Content-Type: application/json\r\nContent-Length: " << body.size() << "\r\n";
    }
    text << "\r\n" << body;
    send(text.str());
    return receive(method != "HEAD");
}

void HttpClient::send(const std::string& bytes) {
    size_t sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(m_socket.get(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return;
        }
        sent += static_cast<size_t>(n);
    }
}

bool HttpClient::hasArrived(int timeout_ms) const {
    pollfd look{m_socket.get(), POLLIN, 0};
    return !m_received.empty() || poll(&look, 1, timeout_ms) == 1;
}

void HttpClient::reset() {
    const linger atOnce{1, 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    m_socket.reset();
}

void HttpClient::endSending() {
    shutdown(m_socket.get(), SHUT_WR);
}

bool HttpClient::fill() {
    char buffer[16384];
    const ssize_t n = recv(m_socket.get(), buffer, sizeof buffer, 0);
    if (n > 0) {
        m_received.append(buffer, static_cast<size_t>(n));
    }
    return n > 0;
}

HttpResponse HttpClient::parseHead(const std::string& head) {
    HttpResponse response;
    std::istringstream lines(head);
    std::string version;
    lines >> version >> response.status;
    std::getline(lines, response.reason);
    response.reason = response.reason.substr(response.reason.find_first_not_of(' '));
    response.reason.erase(response.reason.find_last_not_of('\r') + 1);
    for (std::string line; std::getline(lines, line) && line != "\r";) {
        const size_t colon = line.find(": ");
        response.headers.emplace(line.substr(0, colon), line.substr(colon + 2, line.size() - colon - 3));
    }
    return response;
}

HttpResponse HttpClient::receive(bool has_body) {
    std::string head;
    if (!take("\r\n\r\n", head)) {
        return {};
    }
    HttpResponse response = parseHead(head + "\r\n\r\n");
    if (has_body &&
        !(response.header("Transfer-Encoding") == "chunked" ? takeChunks(response.body)
                                                            : takeBytes(response, response.body))) {
        return {};
    }
    return response;
}

// Takes what stands before `end`, and `end` with it.
bool HttpClient::take(const std::string& end, std::string& text) {
    size_t at = 0;
    while ((at = m_received.find(end)) == std::string::npos) {
        if (!fill()) {
            return false;
        }
    }
    text = m_received.substr(0, at);
    m_received.erase(0, at + end.size());
    return true;
}

bool HttpClient::takeBytes(const HttpResponse& response, std::string& body) {
    const size_t length = std::strtoul(response.header("Content-Length").c_str(), nullptr, 10);
    while (m_received.size() < length) {
        if (!fill()) {
            return false;
        }
    }
    body = m_received.substr(0, length);
    m_received.erase(0, length);
    return true;
}

bool HttpClient::takeChunks(std::string& body) {
    for (;;) {
        std::string size;
        std::string chunk;
        if (!take("\r\n", size) || !take("\r\n", chunk)) {
            return false;
        }
        if (size == "0") {
            return true;
        }
        // A chunk that contains a line end of its own would need its size; this server's JSON has none.
        body += chunk;
    }
}

bool HttpClient::awaitClose() {
    char byte = 0;
    ssize_t n = 0;
    while ((n = recv(m_socket.get(), &byte, 1, 0)) > 0) {
    }
    return n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK);
}
