#include "fan_out.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

#include "RunningUnit.h"
#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "fan_out_floor.h"

namespace {

constexpr const char* kKey = "ram.system.test.c";
constexpr const char* kSubscription =
    R"({"path": "/example/subscriptions/example/test", "data": {"data_include": "UPDATED"}})";
constexpr size_t kNotifications = 20000;  // a round
constexpr int kRounds = 7;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

// Processor time of the process so far, in microseconds.
double used_us(pid_t pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/schedstat");
    double nanoseconds = 0;
    file >> nanoseconds;
    return nanoseconds / 1000.0;
}

void change(int& value) {
    if (config_write_int(kKey, ++value) != 0) {
        fail("the key of the example cannot be written");
    }
}

// Connections of which the first half always hears of changes and the second half at will.
class Subscribers {
  public:
    Subscribers(RunningUnit& unit, size_t half) : m_pid(unit.daemon().pid()), m_half(half) {
        for (size_t i = 0; i < 2 * half; ++i) {
            m_clients.push_back(unit.rpc());
            // The session begins here, and notifications go out in the order of sessions.
            ask(m_clients[i], "create");
        }
        askSecondHalf("delete");
    }

    // What each of the second half adds to the daemon's processor time for a change, in microseconds.
    double marginalCost(size_t changes, int& value) {
        const double first = cost(changes, value, m_half);
        askSecondHalf("create");
        const double both = cost(changes, value, 2 * m_half);
        askSecondHalf("delete");
        return (both - first) / static_cast<double>(m_half);
    }

  private:
    static void ask(RpcClient& client, const char* method) {
        const JsonPtr answer = client.call(method, kSubscription);
        if (cJSON_GetObjectItemCaseSensitive(answer.get(), "result") == nullptr) {
            fail("a subscription was refused");
        }
    }

    void askSecondHalf(const char* method) {
        for (size_t i = m_half; i < 2 * m_half; ++i) {
            ask(m_clients[i], method);
        }
    }

    // The mean of that many changes, each heard by everybody before the next.
    double cost(size_t changes, int& value, size_t hearing) {
        const double before = used_us(m_pid);
        for (size_t i = 0; i < changes; ++i) {
            change(value);
            // The last to be served first, so that one wait is enough and no subscriber wakes us up by itself.
            for (size_t client = hearing; client-- > 0;) {
                if (m_clients[client].receive() == nullptr) {
                    fail("a notification did not come");
                }
            }
        }
        return (used_us(m_pid) - before) / static_cast<double>(changes);
    }

    pid_t m_pid;
    size_t m_half;
    std::vector<RpcClient> m_clients;
};

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

struct Cost {
    double daemon;
    double floor;
};

// Both in turn, so that a change of the machine's speed meets both.
Cost marginal_cost(RunningUnit& unit, size_t count, int& value) {
    Subscribers subscribers(unit, count / 2);
    std::vector<double> costs;
    std::vector<double> floors;
    for (int round = 0; round < kRounds; ++round) {
        floors.push_back(fan_out_floor_us(count));
        costs.push_back(subscribers.marginalCost(2 * kNotifications / count, value));
    }
    return {median(costs), median(floors)};
}

}  // namespace

void fan_out_print(RunningUnit& unit) {
    // A resource follows its keys from the first request on.
    unit.rpc().call("read", R"({"path": "/example/test"})");
    int value = 0;
    std::vector<double> own;
    for (const size_t count : {size_t{10}, size_t{100}, size_t{1000}}) {
        const Cost each = marginal_cost(unit, count, value);
        own.push_back(each.daemon - each.floor);
        std::printf("one change, each of %4zu subscribers %8.2f   floor %10.2f us           own   %.2f\n",
                    count, each.daemon, each.floor, own.back());
    }
    const auto [cheapest, dearest] = std::ranges::minmax(own);
    std::printf("%-34s %10.2f   (at most 1.20)\n", "the dearest own beside the cheapest", dearest / cheapest);
}
