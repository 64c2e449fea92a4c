#include "comparison.h"

#include <cstdio>
#include <vector>

#include "median.h"

namespace {

constexpr int kRounds = 7;

}  // namespace

void comparison_print(const Comparison& comparison) {
    std::vector<double> figures;
    std::vector<double> floors;
    for (int round = 0; round < kRounds; ++round) {
        floors.push_back(comparison.measure_floor());
        figures.push_back(comparison.measure());
    }
    const double figure = median(figures);
    const double floor = median(floors);
    std::printf("%-34s %10.1f   floor %10.1f %-12s ratio %.2f (%s)\n", comparison.name.c_str(), figure, floor,
                comparison.unit.c_str(), figure / floor, comparison.goal.c_str());
}
