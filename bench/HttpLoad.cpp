#include "HttpLoad.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>

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
        m_connections.push_back({std::move(client), request + "\r\n"});
    }
}

double HttpLoad::run(double seconds) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::chrono::duration<double> elapsed{0};
    size_t answers = 0;
    for (Connection& connection : m_connections) {
        connection.client.send(connection.request);
    }
    while (elapsed.count() < seconds) {
        for (Connection& connection : m_connections) {
            expect_ok(connection.client.receive());
            ++answers;
            connection.client.send(connection.request);
        }
        elapsed = Clock::now() - start;
    }
    for (Connection& connection : m_connections) {
        expect_ok(connection.client.receive());
    }
    return static_cast<double>(answers) / elapsed.count();
}
