// SPDX-License-Identifier: MIT

#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "runtime/c_owner.h"

// FakeHttpServer: the server that somebody posts to: records what it gets, one connection after the other, and
// answers each request with the bytes it was told; one that breaks off is recorded as far as it came. On a port
// of its own of the loopback interface, in a thread of its own, so that the client may block.
class FakeHttpServer {
  public:
    struct Request {
        std::string header;  // the empty line at its end included
        std::string body;
    };
    // What it reads of a request. Unless that is everything, it records nothing and hangs up; with unread bytes that
    // resets the connection.
    enum class Reading { kEverything, kOnlyTheHeader, kNothing };

    explicit FakeHttpServer(Reading reading = Reading::kEverything)
        : m_reading(reading), m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        bind(m_listener.get(), reinterpret_cast<const sockaddr*>(&address), size);
        listen(m_listener.get(), 8);
        getsockname(m_listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Serve(); });
    }
    ~FakeHttpServer() {
        ReleaseAnswers();
        shutdown(m_listener.get(), SHUT_RDWR);  // ends accept()
        m_thread.join();
    }
    FakeHttpServer(const FakeHttpServer&) = delete;
    FakeHttpServer& operator=(const FakeHttpServer&) = delete;

    [[nodiscard]] int port() const { return m_port; }

    // From the next request on; nothing when empty, and the connection is closed.
    void Answer(std::string bytes) {
        const std::lock_guard lock(m_mutex);
        m_answer = std::move(bytes);
    }

    // Lets clients wait for their answer.
    void HoldAnswers() { SetHolding(true); }
    void ReleaseAnswers() { SetHolding(false); }

    // False when there are not that many within some seconds.
    bool WaitForRequests(std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, limit, [&] { return m_requests.size() >= count; });
    }

    [[nodiscard]] std::vector<Request> requests() {
        const std::lock_guard lock(m_mutex);
        return m_requests;
    }

  private:
    void SetHolding(bool isHolding) {
        const std::lock_guard lock(m_mutex);
        m_isHolding = isHolding;
        m_changed.notify_all();
    }

    void Serve() {
        for (;;) {
            const UniqueFd client(accept(m_listener.get(), nullptr, nullptr));
            if (!client.valid()) {
                return;
            }
            const timeval limit{20, 0};
            setsockopt(client.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
            if (m_reading != Reading::kNothing) {
                ServeClient(client.get());
            }
        }
    }

    void ServeClient(int client) {
        Request request;
        bool isComplete = true;
        while (isComplete && !request.header.ends_with("\r\n\r\n")) {
            isComplete = ReceiveInto(client, request.header, 1);
        }
        if (m_reading == Reading::kOnlyTheHeader) {
            return;
        }
        isComplete = isComplete && ReceiveInto(client, request.body, ContentLength(request.header));
        if (request.header.empty()) {
            return;
        }

        std::unique_lock lock(m_mutex);
        m_requests.push_back(std::move(request));
        m_changed.notify_all();
        m_changed.wait(lock, [this] { return !m_isHolding; });
        const std::string answer = isComplete ? m_answer : "";
        lock.unlock();
        send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
    }

    // False when less came.
    static bool ReceiveInto(int client, std::string& text, std::size_t size) {
        if (size == 0) {
            return true;  // recv() would wait all the same
        }
        const std::size_t before = text.size();
        text.resize(before + size);
        const ssize_t n = recv(client, text.data() + before, size, MSG_WAITALL);
        text.resize(before + (n > 0 ? static_cast<std::size_t>(n) : 0));
        return text.size() == before + size;
    }

    static std::size_t ContentLength(const std::string& header) {
        static const std::string kName = "\r\nContent-Length: ";
        const std::size_t at = header.find(kName);
        return at == std::string::npos ? 0 : std::strtoul(header.c_str() + at + kName.size(), nullptr, 10);
    }

    const Reading m_reading;
    UniqueFd m_listener;
    int m_port = 0;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<Request> m_requests;
    std::string m_answer = "HTTP/1.1 200 OK\r\n\r\n";
    bool m_isHolding = false;
    std::thread m_thread;
};

// UnusedPort: a port of the loopback interface that nobody listens on, and that nobody else gets.
class UnusedPort {
  public:
    UnusedPort() : m_socket(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), size);
        getsockname(m_socket.get(), reinterpret_cast<sockaddr*>(&address), &size);
        m_number = ntohs(address.sin_port);
    }
    [[nodiscard]] int number() const { return m_number; }

  private:
    UniqueFd m_socket;
    int m_number = 0;
};
