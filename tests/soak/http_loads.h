// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "Load.h"
#include "Soak.h"

// One connection and one cookie: reads of every resource, a value that is written and read back, errors, and the
// subscriptions of the session, which only a client that stays the same finds again.
std::unique_ptr<Load> make_kept_http(const Soak& soak);

// A connection for each request and no cookie: each answer makes a session.
std::unique_ptr<Load> make_fresh_http(const Soak& soak);

// Several requests at once on one connection, answered in order.
std::unique_ptr<Load> make_pipelined_http(const Soak& soak);
