// SPDX-License-Identifier: MIT

#include "fan_out.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "RunningUnit.h"
#include "arrival.h"
#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "fan_out_floor.h"
#include "median.h"
#include "table.h"

namespace {

constexpr const char* kKey = "ram.system.test.c";
constexpr const char* kSubscription =
    R"({"path": "/example/subscriptions/example/test", "data": {"data_include": "UPDATED"}})";
constexpr size_t kNotifications = 20000;  // a round
constexpr int kRounds = 15;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

void change(int& value) {
    if (config_write_int(kKey, ++value) != 0) {
        fail("the key of the example cannot be written");
    }
}

// Connections of which as many hear of changes as is asked for: always the ones with the lowest sessions, because
// notifications go out in the order of sessions.
class Subscribers {
  public:
    Subscribers(RunningUnit& unit, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            m_clients.push_back(unit.rpc());
            // The session begins here, in the order of the connections.
            ask(m_clients[i], "create");
            ask(m_clients[i], "delete");
        }
    }

    // What each subscriber takes, in microseconds, when `count` of them hear of a change: the median of the changes
    // of a round.
    double arrivalUs(size_t count, int& value) {
        listen(count);
        const auto change_key = [&] { change(value); };
        const auto has_arrived = [this](size_t client) { return m_clients[client].hasArrived(); };
        return arrival_us(kNotifications / count, count, change_key, has_arrived, [this] { receiveAll(); });
    }

  private:
    static void ask(RpcClient& client, const char* method) {
        const JsonPtr answer = client.call(method, kSubscription);
        if (cJSON_GetObjectItemCaseSensitive(answer.get(), "result") == nullptr) {
            fail("a subscription was refused");
        }
    }

    void listen(size_t count) {
        for (; m_listening < count; ++m_listening) {
            ask(m_clients[m_listening], "create");
        }
        for (; m_listening > count; --m_listening) {
            ask(m_clients[m_listening - 1], "delete");
        }
    }

    void receiveAll() {
        for (size_t client = 0; client < m_listening; ++client) {
            if (m_clients[client].receive() == nullptr) {
                fail("a notification did not come");
            }
        }
    }

    size_t m_listening = 0;
    std::vector<RpcClient> m_clients;
};

// One size: the daemon's figure, the bare sender's, and what the one is of the other, round by round.
struct Size {
    size_t count;
    std::vector<double> daemon;
    std::vector<double> floor;
    std::vector<double> ratio;
};

void measure_round(Subscribers& subscribers, Size& size, int& value) {
    size.floor.push_back(FanOutFloor(size.count).arrivalUs(kNotifications / size.count));
    size.daemon.push_back(subscribers.arrivalUs(size.count, value));
    size.ratio.push_back(size.daemon.back() / size.floor.back());
}

}  // namespace

void fan_out_print(RunningUnit& unit) {
    // A resource follows its keys from the first request on.
    unit.rpc().call("read", R"({"path": "/example/test"})");
    int value = 0;
    std::vector<Size> sizes = {{10, {}, {}, {}}, {100, {}, {}, {}}, {1000, {}, {}, {}}};
    Subscribers subscribers(unit, sizes.back().count);
    // All sizes in each round, so that a change of the machine's speed meets all of them.
    for (int round = 0; round < kRounds; ++round) {
        for (Size& size : sizes) {
            measure_round(subscribers, size, value);
        }
    }
    std::vector<double> costs;
    std::vector<double> ratios;
    for (const Size& size : sizes) {
        costs.push_back(median(size.daemon));
        ratios.push_back(median(size.ratio));
        table_print({"one change, each of " + std::to_string(size.count) + " subscribers",
                     table_figure(costs.back(), 2, "us"), table_figure(median(size.floor), 2, "us"),
                     table_ratio(ratios.back()), ""});
    }
    table_print({"the dearest of them beside the cheapest", "", "", table_ratio(spread(costs)), ""});
    table_print({"the same beside their floors", "", "", table_ratio(spread(ratios)), "at most 1.20"});
}
