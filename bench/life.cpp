// SPDX-License-Identifier: MIT

#include "life.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "ProgramUse.h"
#include "RunningUnit.h"
#include "median.h"
#include "pinned.h"
#include "table.h"

namespace {

constexpr int kStarts = 15;

double start_ms(RunningUnit& unit) {
    using Clock = std::chrono::steady_clock;
    unit.stopDaemon();
    const Clock::time_point start = Clock::now();
    unit.startDaemon();
    if (unit.http().request("GET", "/system/info").status != 200) {
        std::fprintf(stderr, "bench: the daemon does not answer\n");
        std::exit(1);
    }
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

void life_print_start(RunningUnit& unit) {
    std::vector<double> starts;
    for (int i = 0; i < kStarts; ++i) {
        starts.push_back(start_ms(unit));
    }
    pin_process(unit.daemon().pid(), kServingCpu);
    table_print(
        {"from the start of web_app to its first 200", table_figure(median(starts), 1, "ms"), "", "", ""});
}

void life_print_memory(RunningUnit& unit, const char* when) {
    const auto kib = static_cast<double>(ProgramUse::of(unit.daemon().pid()).proportional);
    table_print({"memory of web_app (PSS), " + std::string(when), table_figure(kib, 0, "KiB"), "", "", ""});
}
