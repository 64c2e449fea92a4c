// SPDX-License-Identifier: MIT

#pragma once

class RunningUnit;

// What a request costs as what the daemon keeps grows: live sessions and stored push events, in rows of the table. The
// sessions stay.
void growth_print(const RunningUnit& unit);
