// SPDX-License-Identifier: MIT

#include "database.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "floors.h"
#include "median.h"
#include "pinned.h"
#include "runtime/c_owner.h"
#include "table.h"
#include "tests/support/Program.h"
#include "tests/support/TempDirectory.h"

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr unsigned kMatches = 10;  // keys of a group, which one pattern matches
constexpr unsigned kBatch = 1000;  // keys of one write while it is filled
constexpr int kReads = 400;        // a round
constexpr int kRounds = 21;
constexpr size_t kBusMessageBytes = 64;

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

std::string key_of(unsigned n) {
    return "cfg.bench." + std::to_string(n / kMatches) + "." + std::to_string(n % kMatches);
}

// A bus and a database of its own with that many keys.
class Filled {
  public:
    explicit Filled(unsigned count)
        : m_count(count), m_address("unix*bench-" + std::to_string(getpid()) + "-" + std::to_string(count)) {
        m_bus = start(CBUSD_PROGRAM, {"-a", m_address}, "listening");
        pin_process(m_bus->pid(), kServingCpu);
        startDatabase();
        setenv("CBUS_ADDR", m_address.c_str(), 1);
        m_connection.reset(cbus_conn_create(nullptr, "bench"));
        use();
        for (unsigned first = 0; first < count; first += kBatch) {
            fill(first);
        }
    }

    [[nodiscard]] unsigned count() const { return m_count; }

    // The calls of the configuration client go here from now on.
    void use() { config_init_cbus(m_connection.get(), nullptr); }

    [[nodiscard]] double readUs() {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kReads; ++i) {
            char value[32];
            if (config_read_string(key_of(next()).c_str(), value, sizeof value) != CONFIG_OK) {
                fail("a key is missing");
            }
        }
        return Microseconds(Clock::now() - start).count() / kReads;
    }
    [[nodiscard]] double patternUs() {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kReads; ++i) {
            const std::string pattern = "cfg.bench." + std::to_string(next() / kMatches) + ".*";
            unsigned found = 0;
            config_data_t* elements = nullptr;
            if (config_readm(pattern.c_str(), &found, &elements) != CONFIG_OK || found != kMatches) {
                fail("a pattern matches something else");
            }
            const Malloced<config_data_t> owner(elements);
        }
        return Microseconds(Clock::now() - start).count() / kReads;
    }
    // Seconds until it serves again.
    [[nodiscard]] double restartSeconds() {
        m_database->signal(SIGTERM);
        if (!m_database->awaitEnd()) {
            fail("the database does not end");
        }
        const Clock::time_point start = Clock::now();
        startDatabase();
        return std::chrono::duration<double>(Clock::now() - start).count();
    }

  private:
    // Every key in turn, far from each other.
    unsigned next() { return m_next = (m_next + 7919) % m_count; }

    [[nodiscard]] std::unique_ptr<Program> start(const char* path, const std::vector<std::string>& arguments,
                                                 const char* serving) {
        auto program = std::make_unique<Program>(path, arguments, std::map<std::string, std::string>{},
                                                 m_directory.file("log" + std::to_string(++m_started)));
        if (!program->awaitOutput(serving)) {
            fail(program->output().c_str());
        }
        return program;
    }
    void startDatabase() {
        m_database = start(CONFIGD_PROGRAM, {"-a", m_address, "-s", m_directory.file("store.db")}, "serving");
        pin_process(m_database->pid(), kAskingCpu);
    }
    void fill(unsigned first) const {
        std::vector<std::string> keys;
        for (unsigned n = first; n < std::min(first + kBatch, m_count); ++n) {
            keys.push_back(key_of(n));
        }
        std::string value = "value";
        std::vector<config_data_t> elements;
        for (const std::string& key : keys) {
            elements.push_back({CONFIG_TYPE_STRING, key.c_str(), value.data(), 0, 0, CONFIG_NO_REPLY});
        }
        if (config_modifyv(nullptr, static_cast<unsigned>(elements.size()), elements.data()) != CONFIG_OK) {
            fail("the database cannot be filled");
        }
    }

    unsigned m_count;
    unsigned m_next = 0;
    int m_started = 0;
    TempDirectory m_directory;
    std::string m_address;
    std::unique_ptr<Program> m_bus;
    std::unique_ptr<Program> m_database;
    COwned<_cbus_conn_t, cbus_conn_destroy> m_connection;
};

struct Timings {
    std::vector<double> read;
    std::vector<double> pattern;
};

void print_beside(const std::string& what, double us, double floor_us) {
    table_print(
        {what, table_figure(us, 1, "us"), table_figure(floor_us, 1, "us"), table_ratio(us / floor_us), ""});
}

// All sizes in each round, so that a change of the machine's speed meets all of them.
std::vector<Timings> measure(const std::vector<std::unique_ptr<Filled>>& databases,
                             std::vector<double>& floors) {
    std::vector<Timings> figures(databases.size());
    RawRelay relay;
    for (int round = 0; round < kRounds; ++round) {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < kReads; ++i) {
            relay.roundTrip(kBusMessageBytes);
        }
        floors.push_back(Microseconds(Clock::now() - start).count() / kReads);
        for (size_t i = 0; i < databases.size(); ++i) {
            databases[i]->use();
            figures[i].read.push_back(databases[i]->readUs());
            figures[i].pattern.push_back(databases[i]->patternUs());
        }
    }
    return figures;
}

}  // namespace

void database_print() {
    std::vector<std::unique_ptr<Filled>> databases;
    for (const unsigned count : {1000U, 100000U, 1000000U}) {
        databases.push_back(std::make_unique<Filled>(count));
    }
    std::vector<double> floors;
    std::vector<double> reads;
    std::vector<double> patterns;
    const std::vector<Timings> figures = measure(databases, floors);
    for (size_t i = 0; i < databases.size(); ++i) {
        reads.push_back(median(figures[i].read));
        patterns.push_back(median(figures[i].pattern));
        const std::string where = " among " + std::to_string(databases[i]->count()) + " keys";
        print_beside("a read" + where, reads.back(), median(floors));
        print_beside("a pattern of ten" + where, patterns.back(), median(floors));
    }
    table_print(
        {"reads, the dearest beside the cheapest", "", "", table_ratio(spread(reads)), "at most 1.30"});
    table_print(
        {"patterns, the dearest beside the cheapest", "", "", table_ratio(spread(patterns)), "at most 1.30"});
    table_print({"start of configd with " + std::to_string(databases.back()->count()) + " keys",
                 table_figure(databases.back()->restartSeconds(), 2, "s"), "", "", ""});
}
