// SPDX-License-Identifier: MIT

#pragma once

class RunningUnit;

// The daemon's own life, in rows of the table.

// Ends and starts the daemon of the unit several times; the last one is pinned.
void life_print_start(RunningUnit& unit);
// `when` ends the row's text.
void life_print_memory(RunningUnit& unit, const char* when);
