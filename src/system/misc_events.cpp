// SPDX-License-Identifier: MIT

#include "src/system/misc_events.h"

#include <iterator>

#include "events/event_cbus_client.h"
#include "events/event_client.h"
#include "events/event_wire.h"

void registerMiscEvents() {
    // The blanks belong to the second text: it is stored and shown with them.
    static constexpr EventDefinition kDefinitions[] = {
        {kOemWarningEvent, kEventSeverityWarning, "EV_AP_OEM_WARNING"},
        {kTestEvent, kEventSeverityError, "EV_AP_TEST       "},
    };
    registerEventDefinition(kDefinitions, std::size(kDefinitions));
}
