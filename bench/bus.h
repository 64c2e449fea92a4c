// SPDX-License-Identifier: MIT

#pragma once

class RunningUnit;

// Prints what the bus of the unit, which is started, carries: round trips beside a raw relay, messages a second, and
// one signal to a hundred filters.
void bus_print(const RunningUnit& unit);
