// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <vector>

#include "src/base/owners.h"
#include "tools/cbusctl/BusStatus.h"
#include "tools/common/Paint.h"

// The status of the bus as printable lines.

// Uptime and counters, then a table of the clients.
[[nodiscard]] std::vector<std::string> status_lines(const BusStatus& status, const Paint& paint);

// "name config configd/2", with "waiting x/3 y/4" behind it, and "filter config.change. web_app/5".
[[nodiscard]] std::vector<std::string> list_lines(const BusStatus& status, const Paint& paint);

// {"names":[{"name","provider","waiting"}],"filters":[{"filter","client"}]} with the ids of the clients.
[[nodiscard]] JsonPtr list_json(const BusStatus& status);
