// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "ClosedBus.h"
#include "fuzz_check.h"
#include "src/example/ExampleApiController.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabHandler.h"
#include "src/http/HabRequest.h"
#include "src/rpc/NotificationManager.h"
#include "tests/support/WebConfiguration.h"

// What no session may reach: the access map closes it.
class ClosedHandler : public HabHandler {
  public:
    int handleRequest(HabRequest*) override {
        fuzz_check(false);
        return 1;
    }
};

// RestTree: the resources under "/example" behind the real dispatcher, as web_app joins them, without a database, and
// "/closed/NAME", which nobody may reach. Alive until the process ends.
class RestTree {
  public:
    RestTree() {
        m_configuration.directory.write("accessmap.json", R"({
            "/": {"GET": 0, "PUT": 0, "POST": 0, "DELETE": 0},
            "/closed": {"GET": 2, "PUT": 2, "POST": 2, "DELETE": 2}})");
        m_controller.init();
        HabDispatcher::registerUri("/example/#main_res/#sub1/#sub2/#sub3/#sub4/#sub5/#sub6/#sub7",
                                   kAllMethods, &m_controller);
        HabDispatcher::registerUri("/closed/#name", kAllMethods, &m_closed);
    }
    RestTree(const RestTree&) = delete;
    RestTree& operator=(const RestTree&) = delete;

    static constexpr unsigned kAllMethods = 15;

    [[nodiscard]] NotificationManager* notifications() { return &m_notifications; }

    // The resources begin anew.
    void reset() {
        m_controller.removePathHandler("test");
        m_controller.init();
    }

    // The database tells of new values.
    void change(const std::string& text, int32_t number) {
        void* buffer = nullptr;
        size_t used = 0;
        const auto add = [&](const char* key, uint32_t type, const void* data, size_t size) {
            used = config_vbuf_add(&buffer, used, nullptr, type, key, data, static_cast<uint32_t>(size), 0);
        };
        add("ram.system.test.a", CONFIG_TYPE_STRING, text.c_str(), text.size() + 1);
        add("ram.system.test.c", CONFIG_TYPE_INT, &number, sizeof number);
        add("ram.system.test.static.x.abc", CONFIG_TYPE_STRING, text.c_str(), text.size() + 1);
        add("ram.system.test.dynamic.1.def", CONFIG_TYPE_STRING, text.c_str(), text.size() + 1);
        const Malloced<void> owner(buffer);
        signal("config.change.ram", {static_cast<const uint8_t*>(buffer), used});
    }
    void signal(const char* name, std::span<const uint8_t> data) { m_bus.signal(name, data); }

  private:
    WebConfiguration m_configuration{R"({"hab.path": ""})"};  // the access map is beside it
    ClosedBus m_bus;
    NotificationManager m_notifications;
    ExampleApiController m_controller{m_bus.connection(), &m_notifications, nullptr};
    ClosedHandler m_closed;
};
