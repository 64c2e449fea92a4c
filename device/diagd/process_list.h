// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "device/diagd/Report.h"

// Adds "processes.txt": a line per process with its numbers and command, whose arguments may hold secrets. `proc` is
// where the kernel tells of its processes. One that ends meanwhile is left out.
void report_add_processes(Report& report, const std::string& proc = "/proc");
