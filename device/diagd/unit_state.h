// SPDX-License-Identifier: MIT

#pragma once

#include <span>

#include "device/diagd/Report.h"

// What the machine tells about itself. None of this asks another program or the network.

// A file that goes into the report.
struct ReportSource {
    const char* name;  // in the report
    const char* path;
    size_t max_bytes;
    FilePart part;
};

void report_add_sources(Report& report, std::span<const ReportSource> sources);

// Adds "report.txt": when and on which machine the report was made.
void report_add_title(Report& report);
// Adds "kernel/...", "network/..." and "log/...", the logs with their last lines. Blocks as long as the kernel does.
void report_add_unit_state(Report& report);
