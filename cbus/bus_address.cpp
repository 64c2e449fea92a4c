// SPDX-License-Identifier: MIT

#include "cbus/bus_address.h"

#include <cstdlib>

std::string bus_address_choose(const std::string& option) {
    const char* environment = getenv("CBUS_ADDR");
    if (!option.empty() || environment == nullptr) {
        return option.empty() ? kBusDefaultAddress : option;
    }
    return *environment != '\0' ? environment : kBusDefaultAddress;
}
