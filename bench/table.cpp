// SPDX-License-Identifier: MIT

#include "table.h"

#include <cstdio>

void table_begin() {
    table_print({"measured", "figure", "floor", "ratio", "goal"});
    table_print({std::string(55, '-'), std::string(18, '-') + ":", std::string(18, '-') + ":",
                 std::string(5, '-') + ":", std::string(15, '-')});
}

void table_print(const TableRow& row) {
    std::printf("| %-55s | %19s | %19s | %6s | %-15s |\n", row.what.c_str(), row.figure.c_str(),
                row.floor.c_str(), row.ratio.c_str(), row.goal.c_str());
    std::fflush(stdout);
}

std::string table_figure(double value, int decimals, const std::string& unit) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f ", decimals, value);
    return text + unit;
}

std::string table_ratio(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}
