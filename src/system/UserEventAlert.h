// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/CjsonCollectionPathHandler.h"

struct EventRecord;

// UserEventAlert: the events that are ON, "/system/user-events/alerts", by their identifier. An entry shows the event
// as it was when it went ON.
// Hears of every change of the unit's events, also for UserEventLog: the log is created first.
// Threads: the thread of the event client, which is the loop's.
// Errors:  a constructor before event_client_init() stops the process. A record whose state or severity has no text is
//          ignored.
class UserEventAlert : public CjsonCollectionPathHandler {
  public:
    UserEventAlert();
    ~UserEventAlert() override;

    void logAlert(EventRecord const& record);
    // Hands the record to the log and to the alerts, as far as there are any.
    static void logAlertCB(EventRecord const& record);
    // Takes over what the store of the event client holds; once.
    void readStartUpEvents();

    // The newest one; null when there is none.
    [[nodiscard]] static UserEventAlert* getInstance() { return sm_instance; }

  private:
    static UserEventAlert* sm_instance;
};
