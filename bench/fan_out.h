// SPDX-License-Identifier: MIT

#pragma once

class RunningUnit;

// Prints what one more subscriber to a change costs the daemon, in processor time, when there are 10, 100 and 1,000 of
// them: beside what the kernel alone takes for it, and how far the rest, the daemon's own, is from flat.
// The unit is started and the bus address is set.
void fan_out_print(RunningUnit& unit);
