// SPDX-License-Identifier: MIT

#include "src/frame/Backend.h"

#include <cstdio>
#include <cstdlib>
#include <new>

#include "cbus/cbus.h"
#include "config_client/config_client_api.h"
#include "events/event_cbus_client.h"
#include "events/event_client.h"
#include "runtime/fdloop_libevent.h"
#include "runtime/logging.h"
#include "runtime/px.h"
#include "src/base/assertion.h"
#include "src/base/environment_number.h"
#include "src/base/service_notify.h"
#include "src/example/ExampleApiController.h"
#include "src/frame/ApiEventServer.h"
#include "src/frame/RPCTransportListener.h"
#include "src/frame/rpc_socket_path.h"
#include "src/http/AccessMap.h"
#include "src/http/HabConfig.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabSession.h"
#include "src/http/PushDataHelper.h"
#include "src/rest/BaseApiController.h"
#include "src/rpc/NotificationManager.h"
#include "src/rpc/RPCServer.h"
#include "src/rpc/SocketTransport.h"
#include "src/rpc/rest_bridge.h"
#include "src/system/SystemApiController.h"

// The one JSON-RPC server, once onRun() has made it.
RPCServer* RPCserver = nullptr;

namespace {

constexpr const char* kModule = "src/web_app";
constexpr const char* kOnRun = "virtual void Backend::onRun()";
constexpr unsigned kAllMethods = 15;

// A unit with more clients than most tells the daemon so in its environment.
std::size_t max_http_connections() {
    return environment_number("ORVALE_HTTP_CONNECTIONS", HabEventServer::kMaxConnections);
}

std::size_t max_rpc_connections() {
    return environment_number("ORVALE_RPC_CONNECTIONS", SocketTransport::kMaxConnections);
}

std::size_t max_sessions() {
    return environment_number("ORVALE_SESSIONS", HabSessionImpl::kMaxSessions);
}

// The lower-case and the capitalised name of an operation share one object.
void register_methods(RPCServer& server, NotificationManager* notifications) {
    auto* rpc_delete = new RPCDelete(notifications);
    auto* rpc_create = new RPCCreate(notifications);
    auto* rpc_update = new RPCUpdate(notifications);
    auto* rpc_read = new RPCRead(notifications);
    server.registerMethod("create", rpc_create);
    server.registerMethod("read", rpc_read);
    server.registerMethod("update", rpc_update);
    server.registerMethod("delete", rpc_delete);
    server.registerMethod("Create", rpc_create);
    server.registerMethod("Read", rpc_read);
    server.registerMethod("Update", rpc_update);
    server.registerMethod("Delete", rpc_delete);
}

}  // namespace

Backend::Backend(const std::string& configPath) : m_configPath(configPath) {
    HabApplication::initialize(m_configPath.c_str());
    HabSessionImpl::setMaxSessions(max_sessions());
    m_server =
        new (std::nothrow) ApiEventServer(HabConfig::getInstance()->getHttpPort(), max_http_connections());
    ORVALE_ASSERT(m_server != nullptr, "m_server != __null", kModule, "Backend::Backend(const string&)");
}

Backend::~Backend() {
    if (m_cbusConnection != nullptr) {
        cbus_conn_destroy(m_cbusConnection);
    }
    m_cbusConnection = nullptr;
    m_fdl = nullptr;
    m_notifier.reset();  // its events are on the server's loop
    delete m_server;
    m_server = nullptr;
}

int Backend::onRun() {
    set_log_mask(log_up_to(HabConfig::getInstance()->getLogLevel()));
    px_set_default_sig_handlers();

    createEventLoop();
    connectBus();
    m_notificationManager = new NotificationManager();
    HabSessionImpl::setDroppedCallback(BaseApiController::sessionEnded);
    addController(new ExampleApiController(m_cbusConnection, m_notificationManager, m_fdl));
    addController(new SystemApiController(m_cbusConnection, m_notificationManager, m_fdl));
    // The only worker thread; the bus and the controllers are there before it.
    PushDataHelper::getInstance()->start();
    startRpcServer();
    // Now and not with the first request, when clients may have left no descriptor for it: without it everything would
    // be closed for life.
    AccessMap::getInstance();

    m_server->setInstanceId(static_cast<unsigned long>(random()));
    tellServiceManager();
    return m_server->run();
}

void Backend::createEventLoop() {
    m_fdl = fdloop_init_libevent(m_server->getEventbase());
    ORVALE_ASSERT(m_fdl != nullptr, "m_fdl", kModule, kOnRun);
    m_server->setFdloop(m_fdl);
}

void Backend::connectBus() {
    m_cbusConnection = cbus_conn_create(m_fdl, "CBUS_CONNECTION");
    ORVALE_ASSERT(m_cbusConnection != nullptr, "m_cbusConnection", kModule, kOnRun);
    config_init_cbus(m_cbusConnection, nullptr);
    event_client_init();
    setEventConnection(m_cbusConnection);
}

void Backend::addController(BaseApiController* controller) {
    controller->init();
    char uri[200];
    std::snprintf(uri, sizeof uri, "%s/#main_res/#sub1/#sub2/#sub3/#sub4/#sub5/#sub6/#sub7",
                  controller->getApiPath());
    HabDispatcher::registerUri(uri, kAllMethods, controller);
}

void Backend::startRpcServer() {
    RPCserver = new RPCServer();
    auto* transport = new SocketTransport(RPCserver, m_server->getEventbase());
    transport->limitConnections(max_rpc_connections());
    char path[kRpcSocketPathSize];
    rpc_socket_path(path);
    logger_function(6, kModule, "Listening on socket '%s'", path);
    if (!transport->listen(path)) {
        // Browsers are served without it, so the daemon goes on.
        logger_function(3, kModule, "No JSON-RPC: cannot listen on '%s'", path);
    }
    RPCserver->registerTransportLisetner(new RPCTransportListener(m_notificationManager));
    register_methods(*RPCserver, m_notificationManager);
}

// The first turn of the loop, in which the manager hears of the start, comes when the server has its port: with a port
// that is taken it never does. Without the bus there would be nothing to serve: the manager's patience ends the process.
void Backend::tellServiceManager() {
    if (m_cbusConnection->socket < 0) {
        return;
    }
    // A bus that has ended is seen by the manager itself. One that lives and has cut this connection off, because nothing
    // was taken from it for too long, is not: only a new process gets a new one.
    m_notifier = std::make_unique<ServiceNotifier>(m_server->getEventbase(),
                                                   [this] { return m_cbusConnection->socket >= 0; });
    // Signals end the process by exit() wherever it stands.
    service_notify_stopping_at_exit();
}
