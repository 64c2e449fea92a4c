// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

// The memory of one program of the unit, in KiB.
struct ProgramUse {
    long resident = 0;
    long proportional = 0;  // shared pages by their share

    static ProgramUse of(pid_t pid);
};

// ProgramWatch: how much memory and how many descriptors a program holds, over a run.
//   Memory goes up and down with what is under way: compared are the medians of the samples of two spans.
class ProgramWatch {
  public:
    // More than this is growth: the greater of the two.
    static constexpr long kMaxGrowthKib = 256;
    static constexpr long kMaxGrowthPercent = 2;

    // Takes a second.
    ProgramWatch(std::string name, pid_t pid);

    enum class Span { kWarm, kEnd };
    void sample(Span span) { samples(span).push_back(ProgramUse::of(m_pid)); }

    // Waits until as many descriptors are open as before the load, at most so long.
    void awaitQuiet(std::chrono::milliseconds limit);

    // Of resident memory alone: what is shared weighs more when an unrelated program that shared it ends. No without
    // samples of both spans.
    [[nodiscard]] bool hasGrown() const;
    [[nodiscard]] long descriptorDrift() const { return m_quiet_descriptors - m_descriptors_before; }
    void print() const;

  private:
    std::vector<ProgramUse>& samples(Span span) { return span == Span::kWarm ? m_warm : m_end; }

    std::string m_name;
    pid_t m_pid;
    long m_descriptors_before;
    std::vector<ProgramUse> m_warm;
    std::vector<ProgramUse> m_end;
    long m_quiet_descriptors = 0;
};
