// SPDX-License-Identifier: MIT

#include "src/base/scoped_locking.h"

#include <cerrno>

#include <gtest/gtest.h>

using concurrency::scoped_mutex;

namespace {

// A mutex that notices misuse by its own thread instead of waiting for ever.
class CheckingMutex {
  public:
    CheckingMutex() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&m_mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
    }
    ~CheckingMutex() { pthread_mutex_destroy(&m_mutex); }
    CheckingMutex(const CheckingMutex&) = delete;
    CheckingMutex& operator=(const CheckingMutex&) = delete;

    pthread_mutex_t& get() { return m_mutex; }

  private:
    pthread_mutex_t m_mutex;
};

void lock_twice() {
    CheckingMutex mutex;
    const scoped_mutex first(mutex.get());
    const scoped_mutex second(mutex.get());
}

void unlock_twice() {
    CheckingMutex mutex;
    const scoped_mutex lock(mutex.get());
    pthread_mutex_unlock(&mutex.get());
}

}  // namespace

TEST(ScopedMutex, HoldsTheLockWhileItLives) {
    CheckingMutex mutex;

    const scoped_mutex lock(mutex.get());

    EXPECT_EQ(pthread_mutex_trylock(&mutex.get()), EBUSY);
}

TEST(ScopedMutex, FreesTheLockAtItsEnd) {
    CheckingMutex mutex;

    { const scoped_mutex lock(mutex.get()); }

    EXPECT_EQ(pthread_mutex_trylock(&mutex.get()), 0);
    pthread_mutex_unlock(&mutex.get());
}

TEST(ScopedMutexDeathTest, StopsTheProcessWhenLockingFails) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_DEATH(lock_twice(), "Assertion `pthread_mutex_lock\\(&m_lock\\) == 0' failed");
}

TEST(ScopedMutexDeathTest, StopsTheProcessWhenUnlockingFails) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");

    EXPECT_DEATH(unlock_twice(), "Assertion `pthread_mutex_unlock\\(&m_lock\\) == 0' failed");
}
