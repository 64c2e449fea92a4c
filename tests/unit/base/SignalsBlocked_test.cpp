// SPDX-License-Identifier: MIT

#include "src/base/SignalsBlocked.h"

#include <gtest/gtest.h>

namespace {

bool is_blocked(int signal) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, signal) == 1;
}

}  // namespace

TEST(SignalsBlocked, KeepsEverySignalAway) {
    const SignalsBlocked blocked;

    EXPECT_TRUE(is_blocked(SIGTERM));
    EXPECT_TRUE(is_blocked(SIGUSR1));
}

TEST(SignalsBlocked, LeavesTheMaskAsItWas) {
    sigset_t one;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    sigset_t before;
    pthread_sigmask(SIG_SETMASK, &one, &before);

    { const SignalsBlocked blocked; }

    EXPECT_TRUE(is_blocked(SIGUSR1));
    EXPECT_FALSE(is_blocked(SIGTERM));
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
