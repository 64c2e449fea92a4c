// SPDX-License-Identifier: MIT

#include "events/event_cbus_client.h"

#include <cstring>
#include <vector>

#include "cbus/cbus.h"
#include "events/event_client.h"
#include "events/event_wire.h"
#include "runtime/px_console.h"
#include "runtime/px_panic.h"
#include "runtime/px_slog.h"

namespace {

_cbus_conn_t* event_connection = nullptr;

_cbus_conn_t* connection() {
    if (event_connection == nullptr) {
        px_panic("Cbus connection not set");
    }
    return event_connection;
}

void send(_cbus_conn_t* to, const char* function, const char* signal, const void* data, size_t bytes) {
    const int result = cbus_send_signal(to, signal, data, static_cast<uint32_t>(bytes));
    if (result != 0) {
        px_slog(3, "%s: cbus_send_signal failed(%d)\n", function, result);
    }
}

}  // namespace

void setEventConnection(_cbus_conn_t* connection) {
    event_connection = connection;
}

int registerEventDefinition(EventDefinition const* table, unsigned count) {
    _cbus_conn_t* const to = connection();
    // The announced rows carry no texts: the event handler takes them from the database, where they must be by then.
    registerEventShortText(table, count);
    std::vector<uint8_t> rows;
    rows.reserve(count * kEventDefinitionRowBytes);
    for (const EventDefinition* definition = table; definition != table + count; ++definition) {
        const auto row = event_definition_row_encode({definition->ev_id, definition->severity});
        rows.insert(rows.end(), row.begin(), row.end());
    }
    send(to, "registerEventDefinition", kRegisterEventDefinitionSignal, rows.data(), rows.size());
    return 0;
}

int forwardEventReport(EventReport const* report) {
    _cbus_conn_t* const to = connection();
    const auto bytes = event_report_encode(*report);
    send(to, "forwardEventReport", kForwardEventReportSignal, bytes.data(), bytes.size());
    return 0;
}

int reportEventOnUnit(uint32_t ev_id, uint16_t source, uint16_t subsource, uint32_t state, uint32_t info) {
    const EventReport report{
        .ev_id = ev_id, .source = source, .subsource = subsource, .info = info, .state = state};
    return forwardEventReport(&report);
}

int clearEvents(unsigned number) {
    _cbus_conn_t* const to = connection();
    char text[32];
    px_snprintf(text, sizeof text, "%u", number);
    send(to, "clearEvents", kClearEventsSignal, text, std::strlen(text) + 1);
    return 0;
}
