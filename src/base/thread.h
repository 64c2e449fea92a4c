// SPDX-License-Identifier: MIT

#pragma once

#include <pthread.h>

#include <memory>

// Thread: one POSIX thread that runs this object's run().
// Borrows:   run() works on the object, which the destructor does not keep alive until the thread has noticed that
//            it is cancelled: a class whose run() uses its own members stops and joins the thread in its own
//            destructor.
//            A cancelled run() is unwound from the call in which it waits, so it neither waits nor closes a
//            descriptor inside a noexcept function, destructors included.
// Threads:   start(), join(), detach() and the destructor belong to the owner's thread.
// Errors:    the numbers of the pthread calls, 0 for success; -1 for a call that does not fit the state.
class Thread {
  public:
    Thread() = default;
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    // Detaches and cancels a thread that was neither joined nor detached, cancels a detached one that still runs.
    virtual ~Thread();
    // Runs in the new thread; the result is the thread's exit value.
    virtual void* run() = 0;

    // Once per object.
    int start();
    // Waits for the end of run(), as long as it takes. -1 before start().
    int join();
    // -1 before start() and after a successful detach().
    int detach();
    // The handle that start() got, not that of the calling thread.
    [[nodiscard]] pthread_t self() const { return m_thread; }

  private:
    struct Life;
    struct Launch;
    static void* entry(void* launch);

    pthread_t m_thread = 0;
    int m_detached = 0;
    int m_running = 0;
    bool m_joinable = false;
    std::shared_ptr<Life> m_life;
};
