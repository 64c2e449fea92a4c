#pragma once

#include <functional>
#include <string>

// One figure beside its floor: the same work done with as little as possible around it.
struct Comparison {
    std::string name;
    std::string unit;  // of both figures, for example "requests/s"
    std::string goal;  // what the ratio has to be, as text
    std::function<double()> measure;
    std::function<double()> measure_floor;
};

// Measures both sides in turn, so that a change of the machine's speed meets both, and prints the medians of the
// figures and of their ratios in a line.
void comparison_print(const Comparison& comparison);
