// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/BaseApiController.h"

// SystemApiController: the resources of the unit itself, "/system".
// Borrows: bus connection, notification manager and event loop; they outlive it. The configuration client is set
//          up before init().
// Threads: loop thread only.
class SystemApiController : public BaseApiController {
  public:
    SystemApiController(_cbus_conn_t* conn, NotificationManager* notifications, _fdloop_t* loop);

    // Announces this program's events and builds the tree, the alerts and the log filled with the events that the unit
    // holds; once, after event_client_init() and setEventConnection(), before the first request.
    void init() override;

  private:
    void addUserEvents();
    void addOem();

    _fdloop_t* m_loop;
};
