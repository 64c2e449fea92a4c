// SPDX-License-Identifier: MIT

#include <cstdint>
#include <cstring>
#include <span>
#include <string>

#include "RestTree.h"
#include "fuzz_check.h"
#include "src/base/json_helpers.h"
#include "src/rpc/RPCServer.h"
#include "src/rpc/RPCTransport.h"
#include "src/rpc/rest_bridge.h"
#include "src/system/SystemDebugObject.h"
#include "src/system/SystemInfoObject.h"
#include "src/system/SystemStatusObject.h"

namespace {

// What of "/system" follows keys of the database.
class SystemPart : public BaseApiController {
  public:
    explicit SystemPart(NotificationManager* notifications)
        : BaseApiController(nullptr, notifications, nullptr, "/system") {
        SystemPart::init();
        HabDispatcher::registerUri("/system/#main_res/#sub1/#sub2/#sub3/#sub4/#sub5/#sub6/#sub7",
                                   RestTree::kAllMethods, this);
    }
    void init() override {
        addPathHandler("debug", new SystemDebugObject("/nowhere/"));
        addPathHandler("info", new SystemInfoObject);
        addPathHandler("status", new SystemStatusObject);
    }
    void reset() {
        for (const char* name : {"debug", "info", "status"}) {
            removePathHandler(name);
        }
        init();
    }
};

// A subscriber that reads what it is sent.
class Subscriber : public RPCTransport {
  public:
    using RPCTransport::RPCTransport;
    void sendData(const char* text) override {
        const JsonPtr message(cJSON_Parse(text));
        fuzz_check(cJSON_GetObjectString(message.get(), "method") != nullptr);
        const cJSON* const params = cJSON_GetObjectObject(message.get(), "params");
        fuzz_check(cJSON_GetObjectString(params, "path") != nullptr);
    }
};

// The resources, with one connection that has subscribed to all of them; alive until the process ends.
class Daemon {
  public:
    Daemon() {
        RPCTransport::add(&m_subscriber);
        // The roots stay when the resources begin anew.
        subscribe("/example/subscriptions/example", "ALL");
        subscribe("/system/subscriptions/system", "UPDATED");
    }

    void read_all() {
        for (const char* path :
             {"/example/test", "/example/test/static", "/example/test/dynamic", "/system/status",
              "/system/info/oem-snmp", "/system/debug", "/system/debug/syslog-rules"}) {
            const JsonPtr params(cJSON_CreateObject());
            cJSON_AddStringToObject(params.get(), "path", path);
            fuzz_check(succeeds("GET", params.get()));
        }
    }
    void signal(const char* name, std::span<const uint8_t> data) { m_resources.signal(name, data); }
    void reset() {
        m_resources.reset();
        m_system.reset();
    }

  private:
    void subscribe(const char* path, const char* data_include) {
        const JsonPtr params(cJSON_CreateObject());
        cJSON_AddStringToObject(params.get(), "path", path);
        cJSON* const data = cJSON_AddObjectToObject(params.get(), "data");
        cJSON_AddTrueToObject(data, "recursive");
        cJSON_AddStringToObject(data, "data_include", data_include);
        fuzz_check(succeeds("POST", params.get()));
    }
    bool succeeds(const char* method, cJSON* params) {
        bool is_result = false;
        const JsonPtr answer(
            bridgeRESTCall(method, params, is_result, &m_subscriber, m_resources.notifications()));
        return is_result;
    }

    RestTree m_resources;
    SystemPart m_system{m_resources.notifications()};
    RPCServer m_server;
    Subscriber m_subscriber{&m_server};
};

}  // namespace

// The data of a change signal, behind a byte whose last bit says of which database. The resources take it twice: as
// they are at first, and with what it has made of them.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) {
        return 0;
    }
    static Daemon& daemon = *new Daemon;
    daemon.read_all();
    for (int i = 0; i < 2; ++i) {
        daemon.signal(data[0] % 2 == 0 ? "config.change.ram" : "config.change.cfg", {data + 1, size - 1});
    }
    daemon.read_all();
    daemon.reset();
    return 0;
}
