// SPDX-License-Identifier: MIT

#pragma once

#include "Rounds.h"
#include "RunningUnit.h"
#include "Tally.h"

// What every load is made of.
struct Soak {
    RunningUnit& unit;
    Program& terminal;
    Tally& tally;
    Rounds& rounds;
};

// The echo of a write through the daemon has passed when the database has been asked and answered after it.
inline void await_echo(const Soak& soak, const char* kind) {
    if (!soak.rounds.await(2)) {
        soak.tally.countError(kind, "the changes have stopped");
    }
}
