#include "device/eventd/event_database.h"

#include <array>
#include <cstdint>
#include <string>

#include "config_client/config_client_api.h"
#include "device/eventd/EventList.h"

namespace {

using EventBytes = std::array<uint8_t, kUserEventBytes>;

std::string key_of(size_t position) {
    return kEventStorePrefix + std::to_string(position);
}

struct Slot {
    std::string key;
    EventBytes value{};
};

std::optional<UserEvent> event_in(const config_data_t& request, const Slot& slot) {
    if (request.status != CONFIG_OK || request.length != kUserEventBytes) {
        return std::nullopt;
    }
    const UserEvent event = user_event_decode(slot.value);
    const bool is_ours = event.version == kUserEventVersion && event.magic == kUserEventMagic;
    return is_ours ? std::optional(event) : std::nullopt;
}

}  // namespace

std::optional<StoredEvents> event_database_read() {
    std::array<Slot, EventList::kCapacity> slots;
    std::array<config_data_t, EventList::kCapacity> requests{};
    for (size_t n = 0; n < slots.size(); ++n) {
        slots[n].key = key_of(n);
        requests[n] = {CONFIG_TYPE_BINARY, slots[n].key.c_str(), slots[n].value.data(), kUserEventBytes, 0,
                       CONFIG_NO_VALUE};
    }
    if (config_readv(nullptr, requests.size(), requests.data()) != 0) {
        return std::nullopt;
    }
    StoredEvents stored{{}, true};
    for (size_t n = 0; n < slots.size(); ++n) {
        const std::optional<UserEvent> event = event_in(requests[n], slots[n]);
        if (event && n == stored.events.size()) {
            stored.events.push_back(*event);
        } else if (requests[n].status != CONFIG_NO_VALUE) {
            stored.is_whole = false;
        }
    }
    return stored;
}

ListPresence event_database_look() {
    EventBytes value;
    uint32_t length = 0;
    uint32_t type = CONFIG_TYPE_NONE;
    const int status = config_read_typed(key_of(0).c_str(), value.data(), value.size(), &length, &type);
    if (status == CONFIG_NO_REPLY) {
        return ListPresence::kNoAnswer;
    }
    const bool is_event = status == CONFIG_OK && type == CONFIG_TYPE_BINARY && length == value.size();
    return is_event ? ListPresence::kThere : ListPresence::kMissing;
}

int event_database_write(unsigned position, const UserEvent& event) {
    const std::string key = key_of(position);
    EventBytes value = user_event_encode(event);
    config_data_t element{CONFIG_TYPE_BINARY, key.c_str(), value.data(), kUserEventBytes, 0, CONFIG_NO_REPLY};
    return config_modifyv(nullptr, 1, &element);
}

void event_database_delete() {
    config_deletem((std::string(kEventStorePrefix) + "*").c_str());
}
