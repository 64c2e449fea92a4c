#pragma once

class RunningUnit;

// Prints what one more subscriber to a change costs the daemon, in processor time, when there are 10, 100 and 1,000 of
// them, and how far the dearest is above the cheapest. The unit is started and the bus address is set.
void fan_out_print(RunningUnit& unit);
