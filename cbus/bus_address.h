// SPDX-License-Identifier: MIT

#pragma once

#include <string>

// Where the bus of a unit listens when nothing else is said.
inline constexpr const char* kBusDefaultAddress = "unix*cbus";

// What a program's option for the address comes to: itself, when it is empty the environment's CBUS_ADDR, else the
// unit's.
[[nodiscard]] std::string bus_address_choose(const std::string& option);
