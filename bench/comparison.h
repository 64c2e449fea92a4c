// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>

// One figure beside its floor: the same work done with as little as possible around it.
struct Comparison {
    std::string name;
    std::string unit;  // of both figures, for example "requests/s"
    int decimals;
    std::string goal;  // what the ratio has to be, as text
    std::function<double()> measure;
    std::function<double()> measure_floor;
};

// The medians of both sides and of their ratios, round by round.
struct Figures {
    double figure;
    double floor;
    double ratio;
};

// Measures both sides in turn, so that a change of the machine's speed meets both.
Figures comparison_measure(const std::function<double()>& measure,
                           const std::function<double()>& measure_floor, int rounds);

// Measures both sides in turn, so that a change of the machine's speed meets both, and prints the medians of the
// figures and of their ratios in a line.
void comparison_print(const Comparison& comparison);
