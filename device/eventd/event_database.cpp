// SPDX-License-Identifier: MIT

#include "device/eventd/event_database.h"

#include <array>
#include <string>
#include <string_view>

#include "config_client/config_client_api.h"
#include "device/eventd/EventList.h"
#include "device/eventd/event_signals.h"

namespace {

constexpr const char* kSeveritiesKey = "dyn.evh.severities";

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

int write_value(const char* key, void* bytes, size_t length) {
    config_data_t element{CONFIG_TYPE_BINARY, key, bytes, static_cast<uint32_t>(length), 0, CONFIG_NO_REPLY};
    return config_modifyv(nullptr, 1, &element);
}

}  // namespace

std::optional<std::vector<StoredPosition>> event_database_read() {
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
    std::vector<StoredPosition> stored;
    for (size_t n = 0; n < slots.size(); ++n) {
        stored.push_back({requests[n].status != CONFIG_NO_VALUE, event_in(requests[n], slots[n])});
    }
    return stored;
}

int event_database_write(unsigned position, const UserEvent& event) {
    EventBytes value = user_event_encode(event);
    return write_value(key_of(position).c_str(), value.data(), value.size());
}

void event_database_clear() {
    config_deletem((std::string(kEventStorePrefix) + "*").c_str());
}

// The rows of the signal that announces definitions, one behind the other.
std::optional<EventSeverities> event_database_read_severities() {
    std::string value(kMaxEventSeverities * kEventDefinitionRowBytes, '\0');
    uint32_t length = 0;
    uint32_t type = CONFIG_TYPE_NONE;
    const int status =
        config_read_typed(kSeveritiesKey, value.data(), static_cast<uint32_t>(value.size()), &length, &type);
    if (status == CONFIG_NO_REPLY) {
        return std::nullopt;
    }
    EventSeverities severities;
    if (status == CONFIG_OK && type == CONFIG_TYPE_BINARY && length <= value.size()) {
        for (const auto& row : event_signal_definitions(std::string_view(value.data(), length))
                                   .value_or(std::vector<EventDefinitionRow>())) {
            severities.emplace(row.ev_id, static_cast<uint8_t>(row.severity));
        }
    }
    return severities;
}

int event_database_write_severities(const EventSeverities& severities) {
    std::string value;
    for (const auto& [ev_id, severity] : severities) {
        const auto row = event_definition_row_encode({ev_id, severity});
        value.append(row.begin(), row.end());
    }
    return write_value(kSeveritiesKey, value.data(), value.size());
}
