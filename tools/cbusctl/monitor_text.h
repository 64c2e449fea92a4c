// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "tools/cbusctl/BusStatus.h"
#include "tools/cbusctl/MonitorCopy.h"
#include "tools/cbusctl/bus_data.h"
#include "tools/common/Paint.h"

// One copied message on one printable line. `clients` knows the programs behind the ids.

// "2026-11-21T14:03:05.000042 request web_app/5 > configd/2 config.read.cfg.a 12": time, kind, who to whom, name and
// bytes of data; behind them what the configuration database says or hears, and with kHex all of the data.
[[nodiscard]] std::string monitor_text(const MonitorCopy& copy, const BusStatus& clients, DataForm form,
                                       const Paint& paint);

// {"time","kind","from","to","name","size"}, with "config" or "hex" as above.
[[nodiscard]] std::string monitor_json(const MonitorCopy& copy, DataForm form);

// "... lost 7 messages" and {"time","kind":"lost","count":7}.
[[nodiscard]] std::string monitor_lost_text(const MonitorCopy& copy, std::uint32_t count, const Paint& paint);
[[nodiscard]] std::string monitor_lost_json(const MonitorCopy& copy, std::uint32_t count);
