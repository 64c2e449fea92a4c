// SPDX-License-Identifier: MIT

#pragma once

#include "device/diagd/Report.h"

// Adds the configuration, one entry per tree ("config/cfg.txt"), one line per key: "KEY = VALUE". Passwords and other
// secrets that are kept in the configuration are in it as they are.
// Blocks: until the database answers, or the bus in its place; a note is left for a tree without an answer.
void report_add_configuration(Report& report);
