// SPDX-License-Identifier: MIT

#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "HttpLoad.h"
#include "RpcLoad.h"
#include "RunningUnit.h"
#include "bus.h"
#include "cbus/cbus.h"
#include "comparison.h"
#include "config_client/config_client_api.h"
#include "database.h"
#include "fan_out.h"
#include "floors.h"
#include "growth.h"
#include "life.h"
#include "pinned.h"
#include "table.h"

namespace {

constexpr double kSecondsPerRound = 0.2;
constexpr int kConnections = 8;
constexpr int kRoundTrips = 4000;
// What a read of this key and its reply take on the wire, roughly: header, name, read parameters or value.
constexpr size_t kBusMessageBytes = 64;
constexpr const char* kBusKey = "cfg.sysconf.serial_number";

// A thousand subscribers take as many descriptors, here and in the daemon, which inherits the limit, and more
// connections and sessions than a unit has.
void raise_limits() {
    setenv("ORVALE_RPC_CONNECTIONS", "2000", 1);
    setenv("ORVALE_SESSIONS", "100000", 1);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

void start_pinned(RunningUnit& unit) {
    raise_limits();
    unit.writeConfiguration(R"({"hab.path": "", "hab.log.level": 5, "hab.http.port": )" +
                            std::to_string(unit.port()) + "}");
    unit.start();
    pin_process(unit.bus().pid(), kServingCpu);
    pin_process(unit.database().pid(), kAskingCpu);
}

void compare_http(const RunningUnit& unit) {
    const HttpFloor floor(HttpClient(unit.port()).request("GET", "/system/info").body);
    HttpLoad load(unit.port(), "/system/info", kConnections);
    HttpLoad floor_load(floor.port(), "/system/info", kConnections);
    comparison_print({"GET /system/info, keep-alive", "requests/s", 0, "at least 0.70",
                      [&] { return load.run(kSecondsPerRound); },
                      [&] { return floor_load.run(kSecondsPerRound); }});
}

void compare_rpc(const RunningUnit& unit) {
    const std::string path = unit.directory() / "floor";
    const RpcFloor floor(path, HttpClient(unit.port()).request("GET", "/system/info").body);
    const std::string call =
        R"({"jsonrpc": "2.0", "method": "read", "params": {"path": "/system/info"}, "id": 1})";
    RpcLoad load(unit.rpcSocket(), call);
    RpcLoad floor_load(path, call);
    comparison_print({"JSON-RPC read /system/info", "calls/s", 0, "at least 0.60",
                      [&] { return load.run(kSecondsPerRound); },
                      [&] { return floor_load.run(kSecondsPerRound); }});
}

template <class Call>
double microseconds_per_call(Call call) {
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kRoundTrips; ++i) {
        call();
    }
    const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count() / kRoundTrips;
}

void read_one_key() {
    char value[128];
    if (config_read_string(kBusKey, value, sizeof value) != 0) {
        std::fprintf(stderr, "bench: %s cannot be read\n", kBusKey);
        std::exit(1);
    }
}

// Both of these speak to the database over the bus.
void compare_bus(RunningUnit& unit) {
    setenv("CBUS_ADDR", unit.busAddress().c_str(), 1);
    _cbus_conn_t* connection = cbus_conn_create(nullptr, "bench");
    config_init_cbus(connection, nullptr);
    RawRelay relay;
    comparison_print({"configuration read, cbusd and configd", "us", 1, "at most 1.50",
                      [] { return microseconds_per_call(read_one_key); },
                      [&] { return microseconds_per_call([&] { relay.roundTrip(kBusMessageBytes); }); }});
    fan_out_print(unit);
    bus_print(unit);
    cbus_conn_destroy(connection);
}

}  // namespace

int main() {
    table_begin();
    RunningUnit unit;
    start_pinned(unit);
    pin_process(0, kAskingCpu);
    life_print_start(unit);
    life_print_memory(unit, "idle");
    compare_http(unit);
    compare_rpc(unit);
    compare_bus(unit);
    life_print_memory(unit, "after the load above");
    growth_print(unit);
    life_print_memory(unit, "with 100,000 sessions and their subscriptions");
    database_print();
    return 0;
}
