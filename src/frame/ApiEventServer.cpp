// SPDX-License-Identifier: MIT

#include "src/frame/ApiEventServer.h"

#include "runtime/fdloop_libevent.h"

void ApiEventServer::dispatch_event() {
    fdloop_loop(m_fdl);
}
