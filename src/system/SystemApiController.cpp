// SPDX-License-Identifier: MIT

#include "src/system/SystemApiController.h"

#include <cstdlib>

#include "src/system/OemWarning.h"
#include "src/system/PrivilegedCommandsPathHandler.h"
#include "src/system/SystemDebugObject.h"
#include "src/system/SystemInfoObject.h"
#include "src/system/SystemStatusObject.h"
#include "src/system/UserEventAlert.h"
#include "src/system/UserEventLog.h"
#include "src/system/misc_events.h"

namespace {

// Units that do not run as root have no right to /misc.
const char* markerDirectory() {
    const char* chosen = getenv("ORVALE_MISC");
    return chosen != nullptr ? chosen : "/misc/";
}

}  // namespace

SystemApiController::SystemApiController(_cbus_conn_t* conn, NotificationManager* notifications,
                                         _fdloop_t* loop)
    : BaseApiController(conn, notifications, loop, "/system"), m_loop(loop) {}

void SystemApiController::init() {
    registerMiscEvents();
    addPathHandler("debug", new SystemDebugObject(markerDirectory()));
    addUserEvents();
    addPathHandler("info", new SystemInfoObject);
    addPathHandler("status", new SystemStatusObject);
    addOem();
}

// The log before the alerts, which hear of every event first and pass it on to the log.
void SystemApiController::addUserEvents() {
    auto* events = new BasePathHandler;
    events->addSubPathHandler("oem-warning", new OemWarning);
    events->addSubPathHandler("log", new UserEventLog);
    auto* alerts = new UserEventAlert;
    events->addSubPathHandler("alerts", alerts);
    alerts->readStartUpEvents();
    addPathHandler("user-events", events);
}

void SystemApiController::addOem() {
    auto* oem = new BasePathHandler;
    addPathHandler("oem", oem);
    oem->addSubPathHandler("privileged-cmds", new PrivilegedCommandsPathHandler(m_loop));
}
