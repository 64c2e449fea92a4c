// SPDX-License-Identifier: MIT

#include "ProgramUse.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <thread>
#include <utility>

#include "median.h"

namespace {

constexpr std::chrono::milliseconds kPause{10};

long median_of(const std::vector<ProgramUse>& samples, long ProgramUse::*member) {
    std::vector<double> values;
    for (const ProgramUse& sample : samples) {
        values.push_back(static_cast<double>(sample.*member));
    }
    return std::lround(median(values));
}

bool is_growth(long warm_kib, long end_kib) {
    return end_kib - warm_kib >
           std::max(ProgramWatch::kMaxGrowthKib, warm_kib * ProgramWatch::kMaxGrowthPercent / 100);
}

// None of a program that has ended.
long count_descriptors(pid_t pid) {
    std::error_code error;
    const std::filesystem::directory_iterator entries("/proc/" + std::to_string(pid) + "/fd", error);
    return std::distance(begin(entries), end(entries));
}

// Without the connections that are just going: the least of a second.
long count_settled_descriptors(pid_t pid) {
    long least = count_descriptors(pid);
    for (int i = 0; i < 100; ++i) {
        std::this_thread::sleep_for(kPause);
        least = std::min(least, count_descriptors(pid));
    }
    return least;
}

}  // namespace

ProgramWatch::ProgramWatch(std::string name, pid_t pid)
    : m_name(std::move(name)), m_pid(pid), m_descriptors_before(count_settled_descriptors(pid)) {}

ProgramUse ProgramUse::of(pid_t pid) {
    ProgramUse use;
    std::ifstream file("/proc/" + std::to_string(pid) + "/smaps_rollup");
    file.ignore(4096, '\n');  // the range of addresses
    std::string name;
    long kib = 0;
    std::string unit;
    while (file >> name >> kib >> unit) {
        if (name == "Rss:") {
            use.resident = kib;
        } else if (name == "Pss:") {
            use.proportional = kib;
        }
    }
    return use;
}

void ProgramWatch::awaitQuiet(std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    m_quiet_descriptors = count_descriptors(m_pid);
    while (descriptorDrift() != 0 && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kPause);
        m_quiet_descriptors = count_descriptors(m_pid);
    }
}

bool ProgramWatch::hasGrown() const {
    return !m_warm.empty() && !m_end.empty() &&
           is_growth(median_of(m_warm, &ProgramUse::resident), median_of(m_end, &ProgramUse::resident));
}

void ProgramWatch::print() const {
    std::printf("  %-10s descriptors %3ld, then %3ld", m_name.c_str(), m_descriptors_before,
                m_quiet_descriptors);
    if (!m_warm.empty() && !m_end.empty()) {
        std::printf("   resident %6ld KiB, then %6ld   proportional %6ld, then %6ld",
                    median_of(m_warm, &ProgramUse::resident), median_of(m_end, &ProgramUse::resident),
                    median_of(m_warm, &ProgramUse::proportional),
                    median_of(m_end, &ProgramUse::proportional));
    }
    std::printf("%s%s\n", descriptorDrift() != 0 ? "   DRIFT" : "", hasGrown() ? "   GROWN" : "");
}
