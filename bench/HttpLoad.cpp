// SPDX-License-Identifier: MIT

#include "HttpLoad.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <utility>

namespace {

void expect_ok(const HttpResponse& response) {
    if (response.status != 200) {
        std::fprintf(stderr, "bench: the server answered %d\n", response.status);
        std::exit(1);
    }
}

}  // namespace

HttpLoad::HttpLoad(int port, const std::string& target, int connections) {
    for (int i = 0; i < connections; ++i) {
        HttpClient client(port);
        const HttpResponse first = client.request("GET", target, "", {"Accept: application/json"});
        expect_ok(first);
        const std::string cookie = first.header("Set-Cookie");
        std::string request =
            "GET " + target + " HTTP/1.1\r\nHost: localhost\r\nAccept: application/json\r\n";
        if (!cookie.empty()) {
            request += "Cookie: " + cookie.substr(0, cookie.find(';')) + "\r\n";
        }
        m_connections.push_back(std::move(client));
        m_requests.push_back(request + "\r\n");
    }
}

HttpLoad::HttpLoad(int port, std::vector<std::string> requests, int connections)
    : m_requests(std::move(requests)) {
    for (int i = 0; i < connections; ++i) {
        m_connections.emplace_back(port);
    }
}

double HttpLoad::run(double seconds) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::chrono::duration<double> elapsed{0};
    size_t answers = 0;
    for (HttpClient& connection : m_connections) {
        sendNext(connection);
    }
    while (elapsed.count() < seconds) {
        for (HttpClient& connection : m_connections) {
            expect_ok(connection.receive());
            ++answers;
            sendNext(connection);
        }
        elapsed = Clock::now() - start;
    }
    for (HttpClient& connection : m_connections) {
        expect_ok(connection.receive());
    }
    return static_cast<double>(answers) / elapsed.count();
}
