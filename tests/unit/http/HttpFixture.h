// SPDX-License-Identifier: MIT

#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include <event2/bufferevent.h>
#include <event2/event.h>
#include <event2/http.h>
#include <gtest/gtest.h>

#include "src/base/owners.h"
#include "tests/support/pump_until.h"

// An HTTP server and its raw client in one thread: the client's waiting turns the server's loop, so tests see
// the bytes on the wire without threads or sleeps.

inline sockaddr_in loopback_address(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

inline std::uint16_t local_port(int socket) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

// RawHttpClient: a client that sends the bytes it is given and shows the bytes it gets.
// Borrows: the loop of the server it talks to; it is turned while the client waits.
class RawHttpClient {
  public:
    // `from` is the client's own address.
    RawHttpClient(event_base* loop, std::uint16_t port, const char* from = "127.0.0.1")
        : m_loop(loop), m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in own = loopback_address(0);
        inet_pton(AF_INET, from, &own.sin_addr);
        ::bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof(own));
        const sockaddr_in address = loopback_address(port);
        if (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            ADD_FAILURE() << "no connection to port " << port;
        }
        fcntl(m_socket.get(), F_SETFL, O_NONBLOCK);
    }

    // Sends all of it, turning the loop while the server's buffers are full; false when the peer is gone.
    bool send(std::string_view bytes) {
        return pump_until(m_loop,
                          [&] {
                              const ssize_t n =
                                  ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
                              if (n > 0) {
                                  bytes.remove_prefix(static_cast<size_t>(n));
                              } else if (n < 0 && errno != EAGAIN) {
                                  m_closed = true;
                              }
                              return bytes.empty() || m_closed;
                          }) &&
               bytes.empty();
    }

    // Sends without turning the loop.
    void sendOnce(std::string_view bytes) {
        if (::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
            static_cast<ssize_t>(bytes.size())) {
            ADD_FAILURE() << "not all could be sent at once";
        }
    }

    // The next whole answer, headers and body; what has come so far if it stays incomplete.
    std::string receive() {
        size_t size = 0;
        pump_until(m_loop, [&] {
            readAvailable();
            size = answerSize();
            return size > 0 || m_closed;
        });
        const size_t taken = size > 0 ? size : m_received.size();
        std::string answer = m_received.substr(0, taken);
        m_received.erase(0, taken);
        return answer;
    }

    std::string exchange(std::string_view request) {
        send(request);
        return receive();
    }

    // Whether the server closes the connection.
    bool isClosedByServer() {
        pump_until(m_loop, [&] {
            readAvailable();
            return m_closed;
        });
        return m_closed;
    }

    // What has arrived and was not received as an answer, after a few turns of the loop.
    std::string pending() {
        for (int turn = 0; turn < 20; ++turn) {
            event_base_loop(m_loop, EVLOOP_NONBLOCK);
            pollfd readable{m_socket.get(), POLLIN, 0};
            poll(&readable, 1, 1);
            readAvailable();
        }
        return m_received;
    }

    void close() { m_socket.reset(); }
    void reset() {
        const linger atOnce{1, 0};
        setsockopt(m_socket.get(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        m_socket.reset();
    }
    void endSending() { shutdown(m_socket.get(), SHUT_WR); }
    [[nodiscard]] std::uint16_t port() const { return local_port(m_socket.get()); }

  private:
    void readAvailable() {
        char block[16384];
        ssize_t n = 0;
        while ((n = ::recv(m_socket.get(), block, sizeof(block), 0)) > 0) {
            m_received.append(block, static_cast<size_t>(n));
        }
        m_closed = m_closed || n == 0 || (n < 0 && errno != EAGAIN);
    }

    // The size of the first whole answer received, 0 as long as there is none. An answer that names no length
    // and is not chunked ends with its headers.
    [[nodiscard]] size_t answerSize() const {
        static constexpr std::string_view kHeadersEnd = "\r\n\r\n";
        static constexpr std::string_view kLength = "\r\nContent-Length: ";
        static constexpr std::string_view kLastChunk = "\r\n0\r\n\r\n";
        const size_t end = m_received.find(kHeadersEnd);
        if (end == std::string::npos) {
            return 0;
        }
        const std::string_view headers = std::string_view(m_received).substr(0, end);
        if (headers.find("\r\nTransfer-Encoding: chunked") != std::string_view::npos) {
            const size_t last = m_received.find(kLastChunk, end);
            return last == std::string::npos ? 0 : last + kLastChunk.size();
        }
        const size_t length = headers.find(kLength);
        size_t size = end + kHeadersEnd.size();
        if (length != std::string_view::npos) {
            size += std::strtoul(m_received.c_str() + length + kLength.size(), nullptr, 10);
        }
        return m_received.size() < size ? 0 : size;
    }

    event_base* m_loop;
    UniqueFd m_socket;
    std::string m_received;
    bool m_closed = false;
};

// HttpFixture: an HTTP server on a free port of the loopback interface, every request of which goes to
//              onRequest.
class HttpFixture : public ::testing::Test {
  protected:
    HttpFixture() : m_base(event_base_new()), m_http(evhttp_new(m_base.get())) {
        evhttp_bound_socket* bound = evhttp_bind_socket_with_handle(m_http.get(), "127.0.0.1", 0);
        m_port = bound == nullptr ? std::uint16_t{0} : local_port(evhttp_bound_socket_get_fd(bound));
        evhttp_set_gencb(
            m_http.get(),
            [](evhttp_request* req, void* self) { static_cast<HttpFixture*>(self)->onRequest(req); }, this);
    }

    RawHttpClient connect() { return {m_base.get(), m_port}; }

    // A request that waits for its answer while its client has gone. The library only sees a client go while it
    // reads from it, which it stops doing during the wait.
    evhttp_request* requestOfGoneClient() {
        evhttp_request* waiting = nullptr;
        onRequest = [&](evhttp_request* req) {
            waiting = req;
            bufferevent_enable(evhttp_connection_get_bufferevent(evhttp_request_get_connection(req)),
                               EV_READ);
        };
        RawHttpClient client = connect();
        client.send("GET / HTTP/1.1\r\n\r\n");
        client.close();
        EXPECT_TRUE(pump_until(m_base.get(), [&] {
            return waiting != nullptr && evhttp_request_get_connection(waiting) == nullptr;
        }));
        return waiting;
    }

    EventBasePtr m_base;
    COwned<evhttp, evhttp_free> m_http;
    std::uint16_t m_port = 0;
    std::function<void(evhttp_request*)> onRequest = [](evhttp_request* req) {
        evhttp_send_error(req, HTTP_NOTFOUND, nullptr);
    };
};
