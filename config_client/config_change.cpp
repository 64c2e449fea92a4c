// SPDX-License-Identifier: MIT

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "cbus/cbus_client.h"
#include "cbus/cbus_sock_impl.h"
#include "config_client/config_client_api.h"
#include "config_client/config_notifications.h"
#include "config_client/config_request.h"
#include "runtime/px_panic.h"

namespace {

// What the walk below may look at behind the last entry, see there.
constexpr uint32_t kWalkMargin = 8;
static_assert(kCbusRxSlackBytes >= kWalkMargin, "the walk stays inside the receive buffer");

struct ChangeEntry {
    std::string prefix;
    config_change_cb_t function;
    void* context;
};

// In the order of registration. Entries are shared with a dispatch that is under way, which passes over those that
// were deregistered meanwhile.
// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::vector<std::shared_ptr<ChangeEntry>>& change_table = *new std::vector<std::shared_ptr<ChangeEntry>>;

struct ChangedKey {
    uint32_t type;
    const char* key;
    char* data;
    uint32_t data_bytes;
};

// Reads the entry at `offset` and moves to the next one; false at the end. An entry counts while it starts more than
// 8 bytes before the end and its name and data, without its 12 header bytes, do not pass the point 8 bytes before the
// end. This bound is what the database's writers are measured by and stays exact; the few bytes that it lets a broken
// entry reach past the end are the zeros that stand behind every received message.
bool next_entry(const char* payload, uint32_t length, uint64_t& offset, ChangedKey& changed) {
    if (offset + kWalkMargin >= length) {
        return false;
    }
    uint32_t words[3];
    std::memcpy(words, payload + offset, sizeof words);
    const auto [type, name_bytes, data_bytes] = words;
    if (offset + name_bytes + data_bytes > length - kWalkMargin) {
        return false;
    }
    const char* const name = payload + offset + sizeof words;
    if (std::memchr(name, '\0', name_bytes) == nullptr) {
        return false;
    }
    changed = {type, name, const_cast<char*>(name) + name_bytes, data_bytes};
    offset += sizeof words + name_bytes + ((uint64_t{data_bytes} + 3) & ~uint64_t{3});
    return true;
}

std::vector<config_data_t> matching_entries(const std::string& prefix, const char* payload, uint32_t length) {
    std::vector<config_data_t> matching;
    uint64_t offset = 0;
    ChangedKey changed{};
    while (next_entry(payload, length, offset, changed)) {
        if (std::strncmp(changed.key, prefix.c_str(), prefix.size()) == 0) {
            matching.push_back({changed.type, changed.key, changed.data_bytes > 0 ? changed.data : nullptr,
                                changed.data_bytes, changed.data_bytes, CONFIG_OK});
        }
    }
    return matching;
}

bool is_registered(const std::shared_ptr<ChangeEntry>& entry) {
    for (const auto& registered : change_table) {
        if (registered == entry) {
            return true;
        }
    }
    return false;
}

int on_change(_cbus_conn_t*, void*, const char*, const void* data, uint32_t length) {
    const auto table = px_assert_memory(kConfigModule, [] { return change_table; });
    for (const auto& entry : table) {
        const auto matching = px_assert_memory(kConfigModule, [&] {
            return matching_entries(entry->prefix, static_cast<const char*>(data), length);
        });
        if (!matching.empty() && is_registered(entry)) {
            entry->function(static_cast<unsigned int>(matching.size()), matching.data(), entry->context);
        }
    }
    return 0;
}

}  // namespace

void config_listen_for_changes() {
    cbus_client_signal_cb_add(config_connections.callback, "config.change.", on_change, nullptr);
}

int config_change_register(const char* prefix, config_change_cb_t function, void* context) {
    px_assert(function != nullptr, kConfigModule);
    char filter[256];
    std::snprintf(filter, sizeof filter, "config.change.%.*s", static_cast<int>(std::strcspn(prefix, ".")),
                  prefix);
    cbus_filter(config_connections.callback, filter);
    px_assert_memory(kConfigModule, [&] {
        change_table.push_back(std::make_shared<ChangeEntry>(ChangeEntry{prefix, function, context}));
    });
    return 0;
}

// The bus goes on delivering the component's changes: other registrations may live from the same filter, so it is
// never taken back.
int config_change_deregister(const char* prefix, config_change_cb_t function, void* context) {
    for (auto entry = change_table.begin(); entry != change_table.end(); ++entry) {
        if ((*entry)->function == function && (*entry)->context == context && (*entry)->prefix == prefix) {
            change_table.erase(entry);
            break;
        }
    }
    return 0;
}
