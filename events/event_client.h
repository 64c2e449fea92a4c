// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

struct EventRecord;

// event_client: this program's events in the database: what it knows of the unit's list, who hears of its changes, and
// the texts of the events that it raises itself. Signals to the event handler: event_cbus_client.h.
// Order:   config_init_cbus, event_client_init, the others.
// Threads: the thread of the configuration client only.
// Errors:  what the database does not take is not reported to the caller.

// One row of a table of the events that this program raises.
struct EventDefinition {
    uint32_t ev_id;
    uint32_t severity;
    const char* short_text;
};

struct EventLocalizedText {
    uint32_t ev_id;
    const char* text;
};

// Makes the process's EventManager and reads the list of events; once, there is no end to it but that of the process.
// Blocks for the list and two texts per event. Always 0.
int event_client_init();

// The listener hears of every significant change, instead of the one set before. Before event_client_init it stops
// the process.
void registerChangeCallback(void (*listener)(EventRecord const& record));

// Store the text of each row. There is one language: `lang` is not used.
void registerEventShortText(EventDefinition const* table, unsigned count);
void registerEventLocalizedText(char const* lang, EventLocalizedText const* table, unsigned count);
void registerEventTexts(char const* lang, EventLocalizedText const* table, unsigned count);
