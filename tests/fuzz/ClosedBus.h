// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "cbus/cbus.h"
#include "cbus/cbus_sock_impl.h"
#include "config_client/config_client_api.h"

// ClosedBus: the configuration client on a bus that is gone: requests fail at once, signals are put in by hand.
class ClosedBus {
  public:
    ClosedBus() {
        m_connection.rx = &m_client.rx;
        config_init_cbus(&m_connection, nullptr);
    }
    ClosedBus(const ClosedBus&) = delete;
    ClosedBus& operator=(const ClosedBus&) = delete;

    [[nodiscard]] _cbus_conn_t* connection() { return &m_connection; }

    void signal(const char* name, std::span<const uint8_t> data) {
        // As a connection hands it over: zeros behind the data.
        std::vector<uint8_t> payload(data.begin(), data.end());
        payload.resize(cbus_pad4(data.size()) + kCbusRxSlackBytes);
        m_client.rx.on_signal(&m_connection, name, payload.data(), static_cast<uint32_t>(data.size()));
    }

  private:
    cbus_client_t m_client{};
    _cbus_conn_t m_connection;
};
