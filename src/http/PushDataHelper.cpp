// SPDX-License-Identifier: MIT

#include "src/http/PushDataHelper.h"

#include <cstring>
#include <mutex>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/scoped_locking.h"
#include "src/http/HabConfig.h"
#include "src/http/push_posting.h"

using concurrency::scoped_mutex;

namespace {

constexpr const char* kModule = "src/PushDataHelper";

}  // namespace

PushDataHelper* PushDataHelper::m_instance = nullptr;

PushDataHelper* PushDataHelper::getInstance() {
    static std::once_flag created;
    std::call_once(created, [] { m_instance = new PushDataHelper; });
    return m_instance;
}

// stopRunning() alone would not do: run() may be about to set the flag or about to wait.
PushDataHelper::~PushDataHelper() {
    {
        const scoped_mutex lock(m_condMutex);
        m_isEnding = true;
        pthread_cond_broadcast(&m_valueCond);
    }
    join();
    pthread_mutex_destroy(&m_bufferMutex);
    pthread_cond_destroy(&m_valueCond);
    pthread_mutex_destroy(&m_condMutex);
    pthread_mutex_destroy(&m_valueMutex);
}

bool PushDataHelper::publish(const char* name, cJSON* data) {
    if (isRunning()) {
        auto entry = std::make_unique<MessageEntry>();
        entry->name.reset(strdup(name));
        entry->data.reset(cJSON_Duplicate(data, 1));
        if (entry->name != nullptr && entry->data != nullptr && enqueue(entry.get())) {
            static_cast<void>(entry.release());  // the ring's, or the thread's already
            return true;
        }
    }
    logger_function(7, kModule, "Queue full - freeing!!!!");
    // Producers rely on it: the object stays theirs when its copy was queued, and is gone when it was not.
    const JsonPtr refused(data);
    return false;
}

bool PushDataHelper::enqueue(MessageEntry* entry) {
    unsigned int write = 0;
    unsigned int read = 0;
    bool isAccepted = false;
    {
        const scoped_mutex lock(m_valueMutex);
        // The masked next slot against the counter as it is, and it has to stay so: the first messages after the
        // start are kept at the expense of later ones, but once eight have been read, nothing is refused any more
        // and what clients have not been told yet gives way to what is newer.
        isAccepted = ((m_writeIndex + 1) & kSlotMask) != m_readIndex;
        if (isAccepted) {
            if (m_writeIndex - m_readIndex == kSlots) {
                ++m_readIndex;  // the oldest is overwritten; the reader goes on behind it, in order
            }
            m_ring[m_writeIndex & kSlotMask].reset(entry);
            ++m_writeIndex;
        }
        write = m_writeIndex;
        read = m_readIndex;
    }
    {
        // Also after a refusal: a thread that has missed its signal is not left in front of a full queue.
        const scoped_mutex lock(m_condMutex);
        pthread_cond_signal(&m_valueCond);
    }
    logger_function(7, kModule, "enqueue() > m_writeIndex: %d, m_readIndex: %d, Empty: %s, full: %s",
                    static_cast<int>(write & kSlotMask), static_cast<int>(read & kSlotMask),
                    write == read ? "Y" : "N", ((write + 1) & kSlotMask) == read ? "Y" : "N");
    return isAccepted;
}

PushDataHelper::MessageEntry* PushDataHelper::dequeue() {
    if (m_readIndex == m_writeIndex) {
        return nullptr;
    }
    std::unique_ptr<MessageEntry> entry;
    unsigned int write = 0;
    unsigned int read = 0;
    {
        const scoped_mutex lock(m_valueMutex);
        entry = std::move(m_ring[m_readIndex & kSlotMask]);
        ++m_readIndex;
        write = m_writeIndex;
        read = m_readIndex;
    }
    logger_function(7, kModule, "dequeue() < m_writeIndex: %d, m_readIndex: %d, Empty: %s, full: %s",
                    static_cast<int>(write & kSlotMask), static_cast<int>(read & kSlotMask),
                    write == read ? "Y" : "N", ((write + 1) & kSlotMask) == read ? "Y" : "N");
    return entry.release();
}

void PushDataHelper::stopRunning() {
    const scoped_mutex lock(m_valueMutex);
    m_isRunning = 0;
    pthread_cond_signal(&m_valueCond);
}

void* PushDataHelper::run() {
    {
        const scoped_mutex lock(m_valueMutex);
        m_isRunning = 1;
    }
    do {
        if (const JsonPtr batch = takeBatch()) {
            postBatch(batch.get());
        } else {
            waitForSignal();
        }
    } while (isRunning() && !m_isEnding);
    logger_function(7, kModule, "PushDataHelper::run exited");
    return nullptr;
}

// Everything that is queued as one object, null when nothing is. A name that comes twice becomes two members.
JsonPtr PushDataHelper::takeBatch() {
    JsonPtr batch;
    while (const std::unique_ptr<MessageEntry> entry{dequeue()}) {
        const JsonText printed(cJSON_PrintUnformatted(entry->data.get()));
        logger_function(7, kModule, "Channel: %s, name: %s, data: %s",
                        HabConfig::getInstance()->getPushChannelId(), entry->name.get(),
                        printed ? printed.get() : "(null)");
        if (batch == nullptr) {
            batch.reset(cJSON_CreateObject());
        }
        json_add(batch.get(), entry->name.get(), std::move(entry->data));
    }
    return batch;
}

void PushDataHelper::postBatch(cJSON* batch) {
    cJSON_AddStringToObject(batch, "system.time", push_local_time_text().c_str());
    char url[kPushUrlSize];
    const int n = push_target_path(url, sizeof url);
    // A path of just 256 characters passes and is cut by its last; it would be too long for the post's header anyway.
    ORVALE_ASSERT(static_cast<std::size_t>(n) <= sizeof(url), "n <= sizeof(url)", kModule,
                  "virtual void* PushDataHelper::run()");
    logger_function(7, kModule, "Posting to %s:%d %s", kPushHost, HabConfig::getInstance()->getHttpPort(),
                    url);
    push_post_json(url, batch);
    if (PushDataEmitter* emitter = m_emitter) {
        emitter->emitData(batch);
    }
}

// Whether anything is queued is not asked again here, on purpose: a signal that has come meanwhile is lost, and its
// message goes out with the next one, as one object. Only the end of this object cannot wait for another signal.
void PushDataHelper::waitForSignal() {
    const scoped_mutex lock(m_condMutex);
    if (!m_isEnding) {
        pthread_cond_wait(&m_valueCond, &m_condMutex);
    }
}
