#include "src/system/SystemApiController.h"

#include "src/system/SystemInfoObject.h"
#include "src/system/SystemStatusObject.h"

SystemApiController::SystemApiController(_cbus_conn_t* conn, NotificationManager* notifications,
                                         _fdloop_t* loop)
    : BaseApiController(conn, notifications, loop, "/system") {}

void SystemApiController::init() {
    addPathHandler("info", new SystemInfoObject);
    addPathHandler("status", new SystemStatusObject);
}
