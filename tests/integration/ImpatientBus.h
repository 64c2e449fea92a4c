// SPDX-License-Identifier: MIT

#pragma once

#include <event2/event.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>

#include "device/cbusd/Broker.h"

// ImpatientBus: the broker of cbusd on a thread of the test, with less patience for who neither answers nor reads.
class ImpatientBus {
  public:
    ImpatientBus(const std::string& address, uint32_t patience_ms)
        : m_broker(m_base.get(), bus_listen(address.c_str()), AccessList(geteuid()), options(patience_ms)),
          m_thread([this] { run(); }) {}
    ImpatientBus(const ImpatientBus&) = delete;
    ImpatientBus& operator=(const ImpatientBus&) = delete;
    ~ImpatientBus() {
        m_ends = true;
        m_thread.join();
    }

  private:
    // The broker's own timer turns the loop when nothing else does.
    static constexpr uint32_t kWakeMs = 50;

    static BrokerOptions options(uint32_t patience_ms) {
        BrokerOptions options;
        options.reply_timeout_ms = patience_ms;
        options.slow.holding_ms = patience_ms;
        options.check_interval_ms = kWakeMs;
        return options;
    }
    void run() {
        while (!m_ends) {
            event_base_loop(m_base.get(), EVLOOP_ONCE);
        }
    }

    std::atomic<bool> m_ends = false;
    EventBasePtr m_base{event_base_new()};
    Broker m_broker;
    std::thread m_thread;
};
