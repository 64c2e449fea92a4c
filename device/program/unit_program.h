// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <memory>
#include <string>

#include "command_line/CommandLineParser.h"

struct _cbus_conn_t;
struct _fdloop_t;
struct event_base;

// unit_program: what the programs of the unit that serve on the bus have in common: they log to standard output, end
// on SIGTERM and SIGINT, join the bus again when it was started anew, and tell the service manager, if it asks for that
// (see ServiceNotifier), once that they serve and that they end.
// Threads: the main thread only.

// -a, the address of the bus, and what makes the bus client take it (see bus_address_choose()).
void unit_program_add_bus(CommandLineOptions program, std::string& address);
void unit_program_choose_bus(const std::string& address);

// Before anything else that the program does: logging and signals. `name` is the program's, for log and error lines,
// and outlives the process's use of it.
void unit_program_prepare(const char* name);

// What a service gets. Base and loop last until the program ends, the connection until there is the next one.
struct UnitProgram {
    event_base* base;
    _fdloop_t* loop;
    _cbus_conn_t* connection;
};
using UnitService = std::shared_ptr<void>;
using MakeUnitService = std::function<UnitService(const UnitProgram&)>;

// Connects, makes the service and runs the loop until a signal asks for the end. Each time that the bus goes, the
// service goes as well, and is made anew when the bus is back. The exit status: 1 when there is no bus at the start,
// with a line on standard error.
[[nodiscard]] int unit_program_run(const char* name, const MakeUnitService& make_service);

// Says that the program serves, unless the bus has gone meanwhile.
void unit_program_log_serving(const char* name, const _cbus_conn_t* connection);
