// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

struct EventDefinition;
struct EventReport;
struct _cbus_conn_t;

// event_cbus_client: what this program tells the unit's event handler, as signals on the bus.
// Borrows: the connection, which outlives every use.
// Threads: the thread of the connection only.
// Errors:  without a connection every function here stops the process. A signal that the bus does not take is logged,
//          and the result is 0 all the same.

void setEventConnection(_cbus_conn_t* connection);

// Stores the short texts of the rows, then announces the rows.
int registerEventDefinition(EventDefinition const* table, unsigned count);

int forwardEventReport(EventReport const* report);
// State is kEventStateOff or kEventStateOn (event_wire.h). In the report it stands behind info.
int reportEventOnUnit(uint32_t ev_id, uint16_t source, uint16_t subsource, uint32_t state, uint32_t info);

int clearEvents(unsigned number);
