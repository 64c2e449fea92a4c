// SPDX-License-Identifier: MIT

#pragma once

#include <pthread.h>

#include <array>
#include <atomic>
#include <memory>

#include "src/base/owners.h"
#include "src/base/thread.h"

// PushDataEmitter: sees what is pushed to the web clients.
class PushDataEmitter {
  public:
    // Called on the push thread with an object that has been posted, or could not be; it is valid during the call.
    // Must not throw.
    virtual void emitData(cJSON* batch) = 0;
    virtual ~PushDataEmitter() = default;
};

// PushDataHelper: a thread that posts messages to the web clients, all that are waiting as one object.
// Owns:      the queued messages.
// Borrows:   the emitter, which outlives this object or is replaced first, and then may still be in a call.
// Threads:   publish(), enqueue(), addEmitter(), isRunning() and stopRunning() from any; dequeue() by whoever runs
//            run(); construction, start() and destruction by the owner.
// Callbacks: the emitter's, after each post.
// Errors:    a message that cannot be posted is lost, with a log line. A path of the push endpoint of more than 256
//            characters stops the process.
// The destructor ends the thread and waits for it, also for a post on its way: not on the thread that runs the HTTP
// server's loop, which has to answer that post. The process's configuration (HabConfig) has to be there before.
class PushDataHelper final : public Thread {
  public:
    struct MessageEntry {
        MallocedText name;
        JsonPtr data;
    };

    PushDataHelper() = default;
    ~PushDataHelper() override;
    // The process's own, never destroyed. The first call creates it; its owner starts it.
    static PushDataHelper* getInstance();

    // Queues a copy of both; neither is null. True: the caller keeps `data`. False, when run() does not run or the
    // queue is full: `data` has been deleted.
    bool publish(const char* name, cJSON* data);

    // The queue behind publish(): true takes the entry over, false leaves it to the caller.
    bool enqueue(MessageEntry* entry);
    // The oldest entry, which the caller deletes, or null.
    MessageEntry* dequeue();

    // One only: the next one replaces it, null takes it away.
    void addEmitter(PushDataEmitter* emitter) { m_emitter = emitter; }
    bool isRunning() const { return m_isRunning != 0; }
    // Has run() return after its present round; with messages still queued, they stay there. While run() is about to
    // wait, the call goes unnoticed until the next message or the next call.
    void stopRunning();

    void* run() override;

    // The thread uses this object, so that the destructor has to be able to wait for it.
    int detach() = delete;

  private:
    static constexpr unsigned int kSlots = 8;
    static constexpr unsigned int kSlotMask = kSlots - 1;

    JsonPtr takeBatch();
    void postBatch(cJSON* batch);
    void waitForSignal();

    static PushDataHelper* m_instance;

    // Guards the ring, its counters and the running flag.
    pthread_mutex_t m_valueMutex = PTHREAD_MUTEX_INITIALIZER;
    // Guards the wake-up and m_isEnding.
    pthread_mutex_t m_condMutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t m_valueCond = PTHREAD_COND_INITIALIZER;
    // Guards nothing.
    pthread_mutex_t m_bufferMutex = PTHREAD_MUTEX_INITIALIZER;
    std::array<std::unique_ptr<MessageEntry>, kSlots> m_ring;
    // Written under the lock, but dequeue() also looks without it. They only ever increase.
    std::atomic<unsigned int> m_readIndex{0};
    std::atomic<unsigned int> m_writeIndex{0};
    std::atomic<PushDataEmitter*> m_emitter{nullptr};
    std::atomic<int> m_isRunning{0};
    std::atomic<bool> m_isEnding{false};
};
