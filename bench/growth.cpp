// SPDX-License-Identifier: MIT

#include "growth.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "HttpLoad.h"
#include "RunningUnit.h"
#include "comparison.h"
#include "floors.h"
#include "median.h"
#include "table.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kConnections = 8;
constexpr int kRounds = 21;
constexpr double kSecondsPerRound = 0.2;
constexpr size_t kAskedSessions = 5000;  // of all that live, so that a round meets most of them
constexpr int kFetches = 2000;           // a round
constexpr std::array<size_t, 3> kEvents = {1, 10, 100};
constexpr size_t kSessions[] = {10, 100, 1000, 10'000, 100'000};

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

// Sessions of HTTP clients. Each holds a subscription, so that it is not among those that go when there are too many.
class Sessions {
  public:
    explicit Sessions(int port) : m_client(port) {}

    void grow(size_t count) {
        while (m_cookies.size() < count) {
            const HttpResponse first =
                m_client.request("GET", "/example/test", "", {"Accept: application/json"});
            const std::string cookie = first.header("Set-Cookie");
            m_cookies.push_back("Cookie: " + cookie.substr(0, cookie.find(';')));
            const HttpResponse subscribed = m_client.request(
                "POST", "/example/subscriptions/example/test", R"({"data": {"data_include": "UPDATED"}})",
                {"Accept: application/json", "Content-Type: application/json", m_cookies.back()});
            if (cookie.empty() || subscribed.status / 100 != 2) {
                fail("a session is not given or may not subscribe");
            }
        }
    }
    // Requests for the resource from as many of the sessions as are asked, spread over all of them.
    [[nodiscard]] std::vector<std::string> requests(const std::string& target) const {
        std::vector<std::string> requests;
        const size_t count = std::min(m_cookies.size(), kAskedSessions);
        for (size_t i = 0; i < count; ++i) {
            requests.push_back("GET " + target +
                               " HTTP/1.1\r\nHost: localhost\r\nAccept: application/json\r\n" +
                               m_cookies[i * m_cookies.size() / count] + "\r\n\r\n");
        }
        return requests;
    }

  private:
    HttpClient m_client;
    std::vector<std::string> m_cookies;
};

void print_sessions(const RunningUnit& unit) {
    const HttpFloor floor(HttpClient(unit.port()).request("GET", "/system/info").body);
    Sessions sessions(unit.port());
    std::vector<double> costs;
    for (const size_t count : kSessions) {
        sessions.grow(count);
        HttpLoad load(unit.port(), sessions.requests("/system/info"), kConnections);
        HttpLoad floor_load(floor.port(), "/system/info", kConnections);
        const Figures figures = comparison_measure([&] { return load.run(kSecondsPerRound); },
                                                   [&] { return floor_load.run(kSecondsPerRound); }, kRounds);
        costs.push_back(1 / figures.ratio);
        table_print({"GET /system/info, " + std::to_string(count) + " sessions with a subscription",
                     table_figure(figures.figure, 0, "requests/s"),
                     table_figure(figures.floor, 0, "requests/s"), table_ratio(figures.ratio), ""});
    }
    table_print(
        {"the dearest of them beside the cheapest", "", "", table_ratio(spread(costs)), "at most 1.20"});
}

// A push channel with that many events.
class Channel {
  public:
    Channel(const RunningUnit& unit, size_t events)
        : m_client(unit.port()), m_target("/activity?channel=bench" + std::to_string(events) + "&fromId=") {
        for (size_t i = 0; i < events; ++i) {
            m_client.request("POST", "/publish?channel=bench" + std::to_string(events),
                             R"({"bench": "event"})", {"Content-Type: application/json"});
        }
        const std::string all = m_client.request("GET", m_target + "0").body;
        m_newest = std::stoul(all.substr(all.rfind(":") + 1));
        if (static_cast<size_t>(std::ranges::count(all, ':')) != 2 * events + 1) {
            fail("a push channel has other events");
        }
    }

    // What a client pays that knows nothing, and one that knows all but the newest.
    double allUs() { return fetchUs(m_target + "0"); }
    double newestUs() { return fetchUs(m_target + std::to_string(m_newest - 1)); }

  private:
    double fetchUs(const std::string& target) {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kFetches; ++i) {
            if (m_client.request("GET", target).status != 200) {
                fail("a push channel does not answer");
            }
        }
        return Microseconds(Clock::now() - start).count() / kFetches;
    }

    HttpClient m_client;
    std::string m_target;
    unsigned long m_newest = 0;
};

// For each size what a fetch took in each round.
using Rounds = std::vector<std::vector<double>>;

// One row for each size; what they came to.
std::vector<double> print_fetches(const std::string& which, const Rounds& rounds) {
    std::vector<double> costs;
    for (size_t i = 0; i < rounds.size(); ++i) {
        costs.push_back(median(rounds[i]));
        table_print({which + " of " + std::to_string(kEvents[i]) + " push events",
                     table_figure(costs.back(), 1, "us"), "", "", ""});
    }
    return costs;
}

// What each further event of a channel adds. There is no goal: it is a tenth of a microsecond, and between fewer events
// what the machine does beside is more than the difference.
void print_slope(const Rounds& all) {
    std::vector<double> each;
    for (size_t round = 0; round < all.back().size(); ++round) {
        each.push_back((all.back()[round] - all.front()[round]) /
                       static_cast<double>(kEvents.back() - kEvents.front()));
    }
    table_print({"each of the push events 2 to " + std::to_string(kEvents.back()),
                 table_figure(median(each), 2, "us"), "", "", ""});
}

void print_push_events(const RunningUnit& unit) {
    std::vector<Channel> channels;
    for (const size_t events : kEvents) {
        channels.emplace_back(unit, events);
    }
    Rounds all(channels.size());
    Rounds newest(channels.size());
    // All sizes in each round, so that a change of the machine's speed meets all of them.
    for (int round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < channels.size(); ++i) {
            all[i].push_back(channels[i].allUs());
            newest[i].push_back(channels[i].newestUs());
        }
    }
    const std::vector<double> costs = print_fetches("the newest", newest);
    table_print(
        {"the dearest of them beside the cheapest", "", "", table_ratio(spread(costs)), "at most 1.20"});
    print_fetches("all", all);
    print_slope(all);
}

}  // namespace

void growth_print(const RunningUnit& unit) {
    print_push_events(unit);
    print_sessions(unit);
}
