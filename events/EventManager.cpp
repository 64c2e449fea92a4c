// SPDX-License-Identifier: MIT

#include "events/EventManager.h"

#include "events/EventDb.h"
#include "runtime/px_panic.h"

namespace {

constexpr const char* kModule = "event_manager";
constexpr unsigned kMinCapacity = 3;

EventManager* instance = nullptr;

}  // namespace

EventManager::EventManager(unsigned capacity) : m_store(capacity) {
    px_assert(capacity >= kMinCapacity, kModule);
    instance = this;
}

EventManager::~EventManager() {
    EventDb::stop();
    instance = nullptr;
}

EventManager* EventManager::emGetInstance() {
    px_assert(instance != nullptr, kModule);
    return instance;
}

// In this order: what changes between the two is then heard of after it was read, instead of never.
void EventManager::emInit() {
    EventDb::init();
    m_store.restore();
}

void EventManager::emChangeCallback(const EventRecord& record) const {
    if (m_listener != nullptr) {
        m_listener(record);
    }
}
