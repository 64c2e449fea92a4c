#include "comparison.h"

#include <cstdio>
#include <vector>

#include "median.h"

namespace {

constexpr int kRounds = 35;  // short ones: the machine's speed changes within seconds

}  // namespace

void comparison_print(const Comparison& comparison) {
    std::vector<double> figures;
    std::vector<double> floors;
    std::vector<double> ratios;
    for (int round = 0; round < kRounds; ++round) {
        floors.push_back(comparison.measure_floor());
        figures.push_back(comparison.measure());
        ratios.push_back(figures.back() / floors.back());
    }
    std::printf("%-34s %10.1f   floor %10.1f %-12s ratio %.2f (%s)\n", comparison.name.c_str(),
                median(figures), median(floors), comparison.unit.c_str(), median(ratios),
                comparison.goal.c_str());
}
