// SPDX-License-Identifier: MIT

#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stop_token>
#include <thread>
#include <utility>
#include <vector>

#include "ApiClients.h"
#include "CommandScripts.h"
#include "Load.h"
#include "ProgramUse.h"
#include "RunningUnit.h"
#include "Soak.h"
#include "abort_loads.h"
#include "change_loads.h"
#include "http_loads.h"
#include "push_loads.h"
#include "rpc_loads.h"
#include "system_loads.h"

// A whole unit under a mixed load for the given seconds. Says what was asked, what was wrong, and what the programs
// held when they were warm and at the end; status 1 when anything was wrong.

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::seconds;

// A shorter run says nothing about memory: the heap of the daemon needs a minute of the mixed load to settle.
constexpr long kMemorySeconds = 300;
constexpr long kMaxWarmSeconds = 300;
constexpr long kMaxSpanSeconds = 60;
// The daemon keeps so many; one more drops another.
constexpr int kSessions = 10000;

struct NamedProgram {
    const char* name;
    Program* program;
};

// The whole unit, the daemon first.
std::vector<NamedProgram> start_unit(RunningUnit& unit) {
    unit.writeConfiguration(R"({"hab.path": "", "hab.log.level": 5, "hab.http.port": )" +
                            std::to_string(unit.port()) + "}");
    unit.startBus();
    unit.startDatabase();
    Program& events = unit.startOther(EVENTD_PROGRAM);
    Program& reports = unit.startOther(DIAGD_PROGRAM, {"-o", unit.directory()});
    Program& terminal = unit.startOther(TERMINALD_PROGRAM, {"--speed", "100"});
    unit.startDaemon();
    return {{"web_app", &unit.daemon()}, {"terminald", &terminal},      {"diagd", &reports},
            {"eventd", &events},         {"configd", &unit.database()}, {"cbusd", &unit.bus()}};
}

std::vector<std::unique_ptr<Load>> make_loads(const Soak& soak) {
    std::vector<std::unique_ptr<Load>> loads = make_push_channel(soak);
    for (const auto make : {make_changes, make_passing_subscriber, make_kept_http, make_fresh_http,
                            make_pipelined_http, make_calls, make_writer, make_entries, make_rules,
                            make_commands, make_warnings, make_reports, make_button, make_aborting_clients}) {
        loads.push_back(make(soak));
    }
    return loads;
}

// Each load on a thread of its own; all have finished when this is destroyed, the sources last.
class RunningLoads {
  public:
    explicit RunningLoads(std::vector<std::unique_ptr<Load>> loads) : m_loads(std::move(loads)) {
        for (const auto& load : m_loads) {
            auto& threads = load->isSource() ? m_sources : m_threads;
            threads.emplace_back([load = load.get()](const std::stop_token& stop) {
                while (!stop.stop_requested()) {
                    load->step();
                }
                load->finish();
            });
        }
    }
    RunningLoads(const RunningLoads&) = delete;
    RunningLoads& operator=(const RunningLoads&) = delete;
    ~RunningLoads() {
        for (auto* threads : {&m_threads, &m_sources}) {
            std::ranges::for_each(*threads, [](std::jthread& thread) { thread.request_stop(); });
            threads->clear();
        }
    }

  private:
    std::vector<std::unique_ptr<Load>> m_loads;
    std::vector<std::jthread> m_sources;
    std::vector<std::jthread> m_threads;
};

// What the unit keeps up to a limit is full, and has been exchanged for other, before memory is looked at.
void fill(const Soak& soak) {
    WebClient client(soak.unit, soak.tally, "HTTP, filling", WebClient::Connection::kOnePerRequest,
                     WebClient::Cookie::kForgotten);
    for (int i = 0; i < 2 * kSessions; ++i) {
        client.expect(200, "GET", "/system/info");
    }
    fill_event_log(soak);
}

void sample_memory(std::vector<ProgramWatch>& watches, long run_s) {
    const Clock::time_point start = Clock::now();
    const long warm_s = std::min(run_s / 6, kMaxWarmSeconds);
    const long span_s = std::min(run_s / 6, kMaxSpanSeconds);
    for (long second = 0; second < run_s; ++second) {
        std::this_thread::sleep_until(start + seconds(second));
        const bool is_warm = second >= warm_s && second < warm_s + span_s;
        const bool is_end = second >= run_s - span_s;
        if (run_s < kMemorySeconds || (!is_warm && !is_end)) {
            continue;
        }
        for (ProgramWatch& watch : watches) {
            watch.sample(is_warm ? ProgramWatch::Span::kWarm : ProgramWatch::Span::kEnd);
        }
    }
    std::this_thread::sleep_until(start + seconds(run_s));
}

// Each has to run still, and to end as it should; a sanitizer tells what it found at the latest then.
void end_programs(const std::vector<NamedProgram>& programs, Tally& tally) {
    for (const auto& [name, program] : programs) {
        const bool was_running = program->isRunning();
        program->signal(SIGTERM);
        const std::optional<int> status = program->awaitEnd();
        const bool has_ended = status && (!WIFSIGNALED(*status) || WTERMSIG(*status) == SIGTERM);
        if (!was_running || !has_ended || program->output().find("Sanitizer") != std::string::npos) {
            tally.countError(name, program->output());
        }
    }
}

bool run(RunningUnit& unit, long run_s) {
    const CommandScripts scripts(unit.directory());
    add_command_scripts(scripts);
    const std::vector<NamedProgram> programs = start_unit(unit);
    std::vector<ProgramWatch> watches;
    for (const auto& [name, program] : programs) {
        watches.emplace_back(name, program->pid());
    }
    Tally tally;
    Rounds rounds;
    const Soak soak{unit, *programs[1].program, tally, rounds};
    if (run_s >= kMemorySeconds) {
        fill(soak);
    }
    {
        const RunningLoads loads(make_loads(soak));
        sample_memory(watches, run_s);
    }
    std::ranges::for_each(watches, [](ProgramWatch& watch) { watch.awaitQuiet(seconds(10)); });
    end_programs(programs, tally);

    tally.print();
    std::ranges::for_each(watches, [](const ProgramWatch& watch) { watch.print(); });
    return tally.isClean() && tally.requests() > 0 &&
           std::ranges::all_of(watches, [](const ProgramWatch& watch) {
               return watch.descriptorDrift() == 0 && !watch.hasGrown();
           });
}

}  // namespace

int main(int argc, char** argv) {
    const long run_s = argc == 2 ? std::strtol(argv[1], nullptr, 10) : 0;
    if (run_s <= 0) {
        std::fprintf(stderr, "usage: soak_unit SECONDS\n");
        return 2;
    }
    RunningUnit unit;
    const bool is_sound = run(unit, run_s);
    std::printf("soak of %ld s: %s\n", run_s, is_sound ? "sound" : "FAILED");
    return is_sound ? 0 : 1;
}
