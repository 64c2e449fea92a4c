// SPDX-License-Identifier: MIT

#include "events/EventDb.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <span>

#include "config_client/config_client_api.h"
#include "events/EventManager.h"
#include "events/event_wire.h"
#include "runtime/px_console.h"
#include "runtime/px_panic.h"
#include "runtime/px_slog.h"

namespace {

constexpr const char* kModule = "event_db";
constexpr size_t kMaxAttributeLength = 5;
constexpr size_t kTextKeyBytes = 25;
constexpr size_t kStorePrefixLength = sizeof kEventStorePrefix - 1;

// Where the database puts one event of the list.
struct Slot {
    char key[21];
    uint8_t value[kUserEventBytes];
};

struct TextKey {
    char text[kTextKeyBytes];

    TextKey(const char* attr, int id) {
        px_assert(std::strlen(attr) <= kMaxAttributeLength, kModule);
        px_snprintf(text, sizeof text, "txt.evh.%s.%d", attr, id);
    }
};

void prepare_requests(config_data_t* requests, Slot* slots, unsigned count) {
    for (unsigned n = 0; n < count; ++n) {
        Slot& slot = slots[n];
        px_snprintf(slot.key, sizeof slot.key, "%s%u", kEventStorePrefix, n);
        requests[n] = {CONFIG_TYPE_BINARY, slot.key, slot.value, kUserEventBytes, 0, 0};
    }
}

bool is_event_of_ours(uint32_t length, const UserEvent& event) {
    constexpr const char* kFunction = "readEventArr";
    if (length != kUserEventBytes) {
        px_slog(3, "%s: length mismatch (%u/%u)\n", kFunction, length, unsigned{kUserEventBytes});
        return false;
    }
    if (event.version != kUserEventVersion) {
        px_slog(3, "%s: version mismatch (%d/%d)\n", kFunction, event.version, kUserEventVersion);
        return false;
    }
    if (event.magic != kUserEventMagic) {
        px_slog(3, "%s: magic mismatch (%u/%u)\n", kFunction, event.magic, kUserEventMagic);
        return false;
    }
    return true;
}

// The position that the digits behind the prefix say. None when there are none, or more than a list can have.
std::optional<unsigned> position_of(const char* key) {
    const char* const digits = key + kStorePrefixLength;
    unsigned position = 0;
    const auto parsed = std::from_chars(digits, digits + std::strlen(digits), position);
    return parsed.ec == std::errc() ? std::optional(position) : std::nullopt;
}

// A value that is too short for an event counts as zeros.
UserEvent decode_value(const config_data_t& entry) {
    if (entry.value == nullptr || entry.length < kUserEventBytes) {
        return {.version = 0, .magic = 0};
    }
    return user_event_decode(
        std::span<const uint8_t, kUserEventBytes>(static_cast<const uint8_t*>(entry.value), kUserEventBytes));
}

}  // namespace

void EventDb::init() {
    const int result = config_change_register(kEventStorePrefix, changeEventCallback, nullptr);
    if (result != 0) {
        px_slog(3, "config_change_register failed(%d)\n", result);
    }
}

void EventDb::stop() {
    config_change_deregister(kEventStorePrefix, changeEventCallback, nullptr);
}

int EventDb::readEventArr(UserEvent* out, unsigned count) {
    const std::unique_ptr<config_data_t[]> requests(new (std::nothrow) config_data_t[count]);
    const std::unique_ptr<Slot[]> slots(new (std::nothrow) Slot[count]());
    if (requests == nullptr || slots == nullptr) {
        px_slog(3, "%s: alloc failed\n", "readEventArr");
        return -1;
    }
    prepare_requests(requests.get(), slots.get(), count);
    // The keys are whole ones all the same; the prefix says in which part of the database they lie.
    const int result = config_readv("dyn.evh", count, requests.get());
    if (result < 0) {
        return -1;
    }
    for (unsigned n = 0; n < count; ++n) {
        if (requests[n].status != CONFIG_OK) {
            return static_cast<int>(n);
        }
        out[n] = user_event_decode(slots[n].value);
        if (!is_event_of_ours(requests[n].length, out[n])) {
            // Not n: a list with a foreign value in it is not taken by halves.
            return result;
        }
    }
    return static_cast<int>(count);
}

void EventDb::changeEventCallback(unsigned count, const config_data_t* entries, void* /*unused*/) {
    for (const config_data_t* entry = entries; entry != entries + count; ++entry) {
        const std::optional<unsigned> position = position_of(entry->key);
        if (!position) {
            continue;
        }
        const UserEvent event = decode_value(*entry);
        if (entry->length == kUserEventBytes && event.version == kUserEventVersion &&
            event.magic == kUserEventMagic) {
            changeEvent(*position, event);
        } else {
            px_slog(3, "Invalid event in change notification (%d,%d,%x)\n", static_cast<int>(entry->length),
                    event.version, event.magic);
        }
    }
}

void EventDb::changeEvent(unsigned index, const UserEvent& event) {
    EventManager* const manager = EventManager::emGetInstance();
    if (const EventRecord* const record = manager->store().change(index, event)) {
        manager->emChangeCallback(*record);
    }
}

void EventDb::writeTextAttr(const char* attr, unsigned id, const char* text) {
    const TextKey key(attr, static_cast<int>(id));
    const int result = config_write_string(key.text, text);
    if (result != 0) {
        px_slog(3, "%s: config_write_string[%s] failed(%d)\n", "writeTextAttr", key.text, result);
    }
}

int EventDb::readTextAttr(const char* attr, int id, char* buf, unsigned size) {
    const TextKey key(attr, id);
    const int result = config_read_string(key.text, buf, size);
    if (result != 0) {
        px_slog(3, "%s: config_read_string[%s] failed(%d)\n", "readTextAttr", key.text, result);
    }
    return result;
}
