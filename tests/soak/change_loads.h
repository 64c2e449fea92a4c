// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "Load.h"
#include "Soak.h"

// Changes of a key by another program of the unit, and subscribers that stay: each hears of every change once, in
// order, whatever a notification to it carries. Finishes a round when all have heard.
std::unique_ptr<Load> make_changes(const Soak& soak);

// A subscriber that comes and goes while the key changes: without a gap from the first that it hears to its last.
std::unique_ptr<Load> make_passing_subscriber(const Soak& soak);
