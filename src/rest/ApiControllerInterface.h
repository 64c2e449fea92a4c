// SPDX-License-Identifier: MIT

#pragma once

struct _cbus_conn_t;
struct _fdloop_t;
class NotificationManager;

// ApiControllerInterface: what a resource may ask of the controller that it hangs below.
// Owns: nothing; every answer is borrowed and lives as long as the process.
class ApiControllerInterface {
  public:
    virtual _cbus_conn_t* getCBusConnection() = 0;
    virtual NotificationManager* getNotificationManager() = 0;
    virtual _fdloop_t* getFdloop() = 0;

  protected:
    ~ApiControllerInterface() = default;
};
