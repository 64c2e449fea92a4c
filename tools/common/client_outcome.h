// SPDX-License-Identifier: MIT

#pragma once

#include "tools/common/Interruption.h"

// How a step of a connection to a daemon ended.
enum class ClientOutcome { kOk, kTimeLimit, kInterrupted, kFailed };

// Waits until the socket is ready for `events` (those of poll()) or has failed, which the next call on it tells: kOk.
// Never kFailed.
[[nodiscard]] ClientOutcome client_await(const Interruption& interruption, int socket, short events,
                                         Deadline deadline);
