// SPDX-License-Identifier: MIT

#include "src/example/ExampleApiController.h"

#include "src/example/TestObject.h"

ExampleApiController::ExampleApiController(_cbus_conn_t* conn, NotificationManager* notifications,
                                           _fdloop_t* loop)
    : BaseApiController(conn, notifications, loop, "/example") {}

void ExampleApiController::init() {
    addPathHandler("test", new TestObject);
}
