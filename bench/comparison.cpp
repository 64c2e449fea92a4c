// SPDX-License-Identifier: MIT

#include "comparison.h"

#include <vector>

#include "median.h"
#include "table.h"

namespace {

constexpr int kRounds = 35;  // short ones: the machine's speed changes within seconds

}  // namespace

Figures comparison_measure(const std::function<double()>& measure,
                           const std::function<double()>& measure_floor, int rounds) {
    std::vector<double> figures;
    std::vector<double> floors;
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        floors.push_back(measure_floor());
        figures.push_back(measure());
        ratios.push_back(figures.back() / floors.back());
    }
    return {median(figures), median(floors), median(ratios)};
}

void comparison_print(const Comparison& comparison) {
    const Figures figures = comparison_measure(comparison.measure, comparison.measure_floor, kRounds);
    table_print({comparison.name, table_figure(figures.figure, comparison.decimals, comparison.unit),
                 table_figure(figures.floor, comparison.decimals, comparison.unit),
                 table_ratio(figures.ratio), comparison.goal});
}
