// SPDX-License-Identifier: MIT

#pragma once

#include "src/http/HabEventServer.h"

struct _fdloop_t;

// ApiEventServer: the HTTP server as this daemon runs it, driven through the event-loop adaptor so that the idle
// callbacks of the bus connection run in every pass.
// Borrows: the adaptor given to setFdloop(), which has to be set before run().
class ApiEventServer : public HabEventServer {
  public:
    using HabEventServer::HabEventServer;

    void setFdloop(_fdloop_t* fdloop) { m_fdl = fdloop; }

    void dispatch_event() override;

  private:
    _fdloop_t* m_fdl = nullptr;
};
