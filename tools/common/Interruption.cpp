// SPDX-License-Identifier: MIT

#include "tools/common/Interruption.h"

#include <poll.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <utility>

namespace {

int poll_timeout_ms(Deadline deadline) {
    if (deadline == kNoDeadline) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Deadline::clock::now());
    return static_cast<int>(std::clamp<long long>(left.count(), 0, INT_MAX));
}

}  // namespace

Interruption::~Interruption() {
    if (!m_signals.valid()) {
        return;
    }
    // A signal that is still pending would end the process as soon as it is not blocked any more.
    signalfd_siginfo taken;
    while (read(m_signals.get(), &taken, sizeof taken) > 0) {
    }
    sigprocmask(SIG_SETMASK, &m_mask_before, nullptr);
}

bool Interruption::addSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    UniqueFd descriptor(signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!descriptor.valid() || sigprocmask(SIG_BLOCK, &signals, &m_mask_before) != 0) {
        return false;
    }
    m_signals = std::move(descriptor);
    return true;
}

Interruption::Wakeup Interruption::await(int fd, short events, Deadline deadline) const {
    // A closed pipe reports its error though nothing is asked of it.
    pollfd watched[] = {{fd, events, 0}, {m_signals.get(), POLLIN, 0}, {m_output, 0, 0}};
    for (;;) {
        const int ready = poll(watched, std::size(watched), poll_timeout_ms(deadline));
        if (ready > 0) {
            return watched[1].revents != 0 || watched[2].revents != 0 ? Wakeup::kInterrupted : Wakeup::kReady;
        }
        if (deadline <= Deadline::clock::now()) {
            return Wakeup::kTimeLimit;
        }
    }
}
