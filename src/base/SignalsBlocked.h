// SPDX-License-Identifier: MIT

#pragma once

#include <csignal>

// SignalsBlocked: keeps every signal away from this thread while it lives. Around a fork, so that the child never runs
// the handlers of its parent: they would remove the pid file, or speak to the parent's loop.
class SignalsBlocked {
  public:
    SignalsBlocked() {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t m_before = {};
};
