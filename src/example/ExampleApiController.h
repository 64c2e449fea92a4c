// SPDX-License-Identifier: MIT

#pragma once

#include "src/rest/BaseApiController.h"

// ExampleApiController: resources without a function of their own, "/example". They show the ways in which a resource
// mirrors keys of the configuration database, and clients can try the API on them without touching the unit.
// Borrows: bus connection, notification manager and event loop; they outlive it. The configuration client is set
//          up before the first request.
// Threads: loop thread only.
class ExampleApiController : public BaseApiController {
  public:
    ExampleApiController(_cbus_conn_t* conn, NotificationManager* notifications, _fdloop_t* loop);

    // Builds the tree; once, before the first request.
    void init() override;
};
