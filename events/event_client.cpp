// SPDX-License-Identifier: MIT

#include "events/event_client.h"

#include "events/EventDb.h"
#include "events/EventManager.h"

namespace {

constexpr unsigned kCapacity = 200;

}  // namespace

int event_client_init() {
    // The manager is its own instance and stays until the process ends.
    auto* const manager = new EventManager(kCapacity);
    manager->emInit();
    return 0;
}

void registerChangeCallback(void (*listener)(EventRecord const& record)) {
    EventManager::emGetInstance()->setChangeListener(listener);
}

void registerEventShortText(EventDefinition const* table, unsigned count) {
    for (const EventDefinition* row = table; row != table + count; ++row) {
        EventDb::writeTextAttr("stxt", row->ev_id, row->short_text);
    }
}

void registerEventLocalizedText(char const* /*lang*/, EventLocalizedText const* table, unsigned count) {
    for (const EventLocalizedText* row = table; row != table + count; ++row) {
        EventDb::writeTextAttr("utxt", row->ev_id, row->text);
    }
}

void registerEventTexts(char const* lang, EventLocalizedText const* table, unsigned count) {
    registerEventLocalizedText(lang, table, count);
}
