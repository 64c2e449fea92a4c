// SPDX-License-Identifier: MIT

#include "src/base/thread.h"

#include <cerrno>
#include <mutex>

// Whether the thread still exists, for an owner that has given up its handle by detaching. Shared by the two, as
// either may go first.
struct Thread::Life {
    std::mutex lock;
    bool ended = false;
};

struct Thread::Launch {
    Thread* thread;
    std::shared_ptr<Life> life;

    ~Launch() {
        const std::lock_guard guard(life->lock);
        life->ended = true;
    }
};

Thread::~Thread() {
    if (m_running != 1) {
        return;
    }
    if (m_joinable) {
        // Cancelled first: once detached, the handle is void as soon as the thread ends.
        pthread_cancel(m_thread);
        pthread_detach(m_thread);
    } else if (m_detached == 1) {
        // The thread cannot be gone while the lock keeps it from marking its end.
        const std::lock_guard guard(m_life->lock);
        if (!m_life->ended) {
            pthread_cancel(m_thread);
        }
    }
}

int Thread::start() {
    m_life = std::make_shared<Life>();
    std::unique_ptr<Launch> launch(new Launch{this, m_life});
    const int result = pthread_create(&m_thread, nullptr, entry, launch.get());
    if (result == 0) {
        static_cast<void>(launch.release());  // entry() owns it
        m_running = 1;
        m_joinable = true;
    }
    return result;
}

// The end is marked however run() ends, as a cancellation unwinds this frame too.
void* Thread::entry(void* launch) {
    const std::unique_ptr<Launch> owned(static_cast<Launch*>(launch));
    return owned->thread->run();
}

int Thread::join() {
    if (m_running != 1) {
        return -1;
    }
    if (!m_joinable) {
        return EINVAL;  // what pthread_join() says, which must not see a handle that may be void
    }
    const int result = pthread_join(m_thread, nullptr);
    if (result == 0) {
        m_detached = 0;
        m_joinable = false;
    }
    return result;
}

int Thread::detach() {
    if (m_running != 1 || m_detached != 0) {
        return -1;
    }
    if (!m_joinable) {
        return EINVAL;
    }
    const int result = pthread_detach(m_thread);
    if (result == 0) {
        m_detached = 1;
        m_joinable = false;
    }
    return result;
}
