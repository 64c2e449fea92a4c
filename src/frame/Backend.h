// SPDX-License-Identifier: MIT

#pragma once

#include <memory>
#include <string>

#include "src/base/daemon.h"

class ApiEventServer;
class BaseApiController;
class NotificationManager;
class ServiceNotifier;
struct _cbus_conn_t;
struct _fdloop_t;

// Backend: the one process object. It loads the web configuration, creates the HTTP server and, in onRun(), wires
// every subsystem to the one event loop and serves until that loop ends.
// Owns:    the HTTP server and the bus connection. Controllers, the notification manager, the RPC server and what
//          belongs to it live until the process exits.
// Threads: the main thread's loop serves HTTP, JSON-RPC, the bus and the configuration client; the push-data thread
//          that onRun() starts reaches it by HTTP alone.
// Errors:  a missing configuration, bus or HTTP server is a failed assertion: the daemon does not start without.
class Backend : public utilities::Daemon {
  public:
    // Reads "configuration.json" in the directory `configPath`.
    explicit Backend(const std::string& configPath);
    ~Backend() override;
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    // Blocks in the event loop; returns the HTTP server's result when the loop ends.
    int onRun() override;

  private:
    void createEventLoop();
    void connectBus();
    void addController(BaseApiController* controller);
    void startRpcServer();
    void tellServiceManager();

    ApiEventServer* m_server = nullptr;
    _fdloop_t* m_fdl = nullptr;
    _cbus_conn_t* m_cbusConnection = nullptr;
    std::string m_configPath;
    NotificationManager* m_notificationManager = nullptr;
    std::unique_ptr<ServiceNotifier> m_notifier;
};
