// SPDX-License-Identifier: MIT

#include "tools/common/client_outcome.h"

ClientOutcome client_await(const Interruption& interruption, int socket, short events, Deadline deadline) {
    switch (interruption.await(socket, events, deadline)) {
        case Interruption::Wakeup::kTimeLimit:
            return ClientOutcome::kTimeLimit;
        case Interruption::Wakeup::kInterrupted:
            return ClientOutcome::kInterrupted;
        case Interruption::Wakeup::kReady:
            break;
    }
    return ClientOutcome::kOk;
}
