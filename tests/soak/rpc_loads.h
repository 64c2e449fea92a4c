// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "Load.h"
#include "Soak.h"

// Calls of every outcome on one connection for a while, then on the next one.
std::unique_ptr<Load> make_calls(const Soak& soak);

// A value that is written over JSON-RPC and read back over both sides, and a subscriber that hears of each once.
std::unique_ptr<Load> make_writer(const Soak& soak);

// Entries that come and go, with what is told of them: created, updated, deleted, in this order and once.
std::unique_ptr<Load> make_entries(const Soak& soak);

// Rules for the syslog daemon, which the database keeps on disk.
std::unique_ptr<Load> make_rules(const Soak& soak);
