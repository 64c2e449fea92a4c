// SPDX-License-Identifier: MIT

#pragma once

#include <pthread.h>

#include "src/base/assertion.h"

namespace concurrency {

// scoped_mutex: holds a mutex from its construction to its destruction.
// Borrows: the mutex, which outlives this object.
// Errors:  a failure to lock or to unlock stops the process.
class scoped_mutex {
  public:
    explicit scoped_mutex(pthread_mutex_t& lock) : m_lock(lock) {
        ORVALE_ASSERT(pthread_mutex_lock(&m_lock) == 0, "pthread_mutex_lock(&m_lock) == 0",
                      "src/scoped_locking", "concurrency::scoped_mutex::scoped_mutex(pthread_mutex_t&)");
    }
    ~scoped_mutex() {
        ORVALE_ASSERT(pthread_mutex_unlock(&m_lock) == 0, "pthread_mutex_unlock(&m_lock) == 0",
                      "src/scoped_locking", "concurrency::scoped_mutex::~scoped_mutex()");
    }
    scoped_mutex(const scoped_mutex&) = delete;
    scoped_mutex& operator=(const scoped_mutex&) = delete;

  private:
    pthread_mutex_t& m_lock;
};

}  // namespace concurrency
