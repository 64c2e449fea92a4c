// SPDX-License-Identifier: MIT

#pragma once

#include "events/EventStore.h"

// EventManager: the one store of events of this process, and who hears of its changes.
// Owns:      the store.
// Callbacks: the listener runs on the thread of the configuration client, from a change notification, with a record of
//            the store. It does not destroy the manager.
// Errors:    a capacity below 3, and asking for an instance that is not there, stop the process.
class EventManager {
  public:
    using ChangeListener = void (*)(const EventRecord& record);

    // The newest manager is the instance.
    explicit EventManager(unsigned capacity);
    EventManager(const EventManager&) = delete;
    EventManager& operator=(const EventManager&) = delete;
    // Hears no more changes, and leaves no instance.
    ~EventManager();

    static EventManager* emGetInstance();

    // Follows the unit's list of events from now on, and reads what it holds.
    void emInit();

    // One at a time; null is none.
    void setChangeListener(ChangeListener listener) { m_listener = listener; }
    void emChangeCallback(const EventRecord& record) const;

    [[nodiscard]] EventStore& store() { return m_store; }

  private:
    EventStore m_store;
    ChangeListener m_listener = nullptr;
};
