// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <string>

#include "src/rest/CjsonCollectionPathHandler.h"

struct EventRecord;

// UserEventLog: the last 500 changes of events, "/system/user-events/log". The entries "0" to "499" are a ring: the
// change after the 500th takes the place of "0". Its subscribers are told of new entries only, on the path of "new".
// Threads: the thread of the event client, which is the loop's.
// Errors:  a record whose state or severity has no text makes no entry. No memory for an entry stops the process.
class UserEventLog : public CjsonCollectionPathHandler {
  public:
    static constexpr int kMaxEntries = 500;

    UserEventLog();
    ~UserEventLog() override;

    void logUserEvents(EventRecord const& record);

    // The state text that was logged last for an event; "" when none was.
    void registerEventState(int ev_id, char const* state);
    [[nodiscard]] std::string lookUpEventStateRegister(int ev_id) const;

    // The key of the next entry; 500 stands for 0.
    [[nodiscard]] int getIdCounter() const { return m_id_counter; }

    // The texts that clients see; null for a value that has none.
    [[nodiscard]] static const char* reformatState(int state);
    [[nodiscard]] static const char* reformatSeverity(int severity);

    // The newest one; null when there is none.
    [[nodiscard]] static UserEventLog* getInstance() { return sm_instance; }

  private:
    // The key under which the next entry goes; what the last round of the ring left there is gone.
    [[nodiscard]] std::string takeKey();
    void addEntry(const std::string& key, EventRecord const& record);

    static UserEventLog* sm_instance;

    int m_id_counter = 0;
    bool m_is_wrapped = false;
    std::map<int, std::string> m_event_states;
};
