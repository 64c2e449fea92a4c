#pragma once

#include <functional>
#include <memory>
#include <string>

struct _cbus_conn_t;
struct _fdloop_t;
struct event_base;

// unit_program: what the programs of the unit that serve on the bus have in common: they log to standard output, end
// on SIGTERM and SIGINT, and end with status 1 when there is no bus or it goes away.
// Threads: the main thread only.

// Before anything else the program does. `name` is the program's, for log and error lines, and outlives the process's
// use of it; an empty `address` leaves CBUS_ADDR as it is, or is the unit's usual one.
void unit_program_prepare(const char* name, const std::string& address);

// What a service gets; all three outlive it.
struct UnitProgram {
    event_base* base;
    _fdloop_t* loop;
    _cbus_conn_t* connection;
};
using UnitService = std::shared_ptr<void>;

// Connects, makes the service and runs the loop until the end; the service goes before the connection. The exit
// status. Errors: a line on standard error.
[[nodiscard]] int unit_program_run(const char* name,
                                   const std::function<UnitService(const UnitProgram&)>& make_service);

// Says that the program serves, unless the bus has gone meanwhile.
void unit_program_log_serving(const char* name, const _cbus_conn_t* connection);
