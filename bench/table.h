// SPDX-License-Identifier: MIT

#pragma once

#include <string>

// The table that the bench prints: Markdown that reads as it stands. What a row leaves empty has no such thing.
struct TableRow {
    std::string what;
    std::string figure;
    std::string floor;  // the same with as little as possible around it
    std::string ratio;  // of the figure to its floor, or of the dearest to the cheapest
    std::string goal;   // what the ratio has to be
};

void table_begin();
void table_print(const TableRow& row);

// "12.3 us".
[[nodiscard]] std::string table_figure(double value, int decimals, const std::string& unit);
[[nodiscard]] std::string table_ratio(double value);
