// SPDX-License-Identifier: MIT

#pragma once

#include <cstdlib>
#include <string>

#include "RunningUnit.h"
#include "cbus/cbus.h"
#include "config_client/config_client_api.h"

// OtherProgram: another client of the configuration database of the unit.
class OtherProgram {
  public:
    explicit OtherProgram(const RunningUnit& unit) : OtherProgram(unit.busAddress()) {}
    explicit OtherProgram(const std::string& bus) {
        setenv("CBUS_ADDR", bus.c_str(), 1);
        m_bus.reset(cbus_conn_create(nullptr, "test"));
        config_init_cbus(m_bus.get(), nullptr);
    }

  private:
    COwned<_cbus_conn_t, cbus_conn_destroy> m_bus;
};
