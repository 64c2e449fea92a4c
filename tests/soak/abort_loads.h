// SPDX-License-Identifier: MIT

#pragma once

#include <memory>

#include "Load.h"
#include "Soak.h"

// Clients that leave: in the middle of a request, of a body, of an answer, of a long poll, of a message, and with
// subscriptions. After each round the daemon answers somebody else.
std::unique_ptr<Load> make_aborting_clients(const Soak& soak);
