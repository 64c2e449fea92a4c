// SPDX-License-Identifier: MIT

#include "config_client/config_vbuf.h"

#include <cstdlib>
#include <cstring>

#include "cbus/cbus_wire.h"
#include "runtime/px_panic.h"

namespace {

constexpr const char* kModule = "config_vbuf";

struct EntryHeader {
    uint8_t type;
    int8_t status;
    uint16_t zero;
    uint32_t name_bytes;  // padded
    uint32_t data_bytes;
};
static_assert(sizeof(EntryHeader) == kConfigVbufEntryBytes, "the entry header has no gaps");

// `at` has room for the entry and holds zeros. Null is no prefix.
void fill_entry(char* at, const char* prefix, const config_vbuf_entry_t& entry) {
    const size_t prefix_bytes = prefix != nullptr ? std::strlen(prefix) + 1 : 0;
    const EntryHeader header{entry.type, entry.status, 0,
                             static_cast<uint32_t>(cbus_pad4(prefix_bytes + entry.name.size() + 1)),
                             static_cast<uint32_t>(entry.data.size())};
    std::memcpy(at, &header, sizeof header);
    char* const name = at + sizeof header;
    if (prefix != nullptr) {
        *stpcpy(name, prefix) = '.';
    }
    entry.name.copy(name + prefix_bytes, entry.name.size());
    entry.data.copy(name + header.name_bytes, entry.data.size());
}

}  // namespace

size_t config_vbuf_add(void** buffer, size_t used, const char* prefix, uint32_t type, const char* key,
                       const void* data, uint32_t length, int status) {
    const size_t name_length = (prefix != nullptr ? std::strlen(prefix) + 1 : 0) + std::strlen(key);
    const std::string_view bytes =
        data != nullptr ? std::string_view(static_cast<const char*>(data), length) : std::string_view();
    const size_t entry_bytes = config_vbuf_entry_bytes(name_length, bytes.size());
    char* const grown = static_cast<char*>(std::realloc(*buffer, used + entry_bytes));
    px_assert(grown != nullptr, kModule);
    *buffer = grown;
    std::memset(grown + used, 0, entry_bytes);
    fill_entry(grown + used, prefix, {static_cast<uint8_t>(type), static_cast<int8_t>(status), key, bytes});
    return used + entry_bytes;
}

int config_vbuf_parse(const void* buffer, size_t used, config_vbuf_cb_t callback, void* context) {
    std::string_view left(static_cast<const char*>(buffer), used);
    int result = 0;
    while (left.size() >= kConfigVbufEntryBytes) {
        const std::optional<config_vbuf_entry_t> entry = config_vbuf_take(left);
        if (!entry) {
            return result;
        }
        result |= callback(context, entry->type, entry->name.data(),
                           entry->data.empty() ? nullptr : entry->data.data(),
                           static_cast<uint32_t>(entry->data.size()), entry->status);
    }
    px_assert(left.empty(), kModule);
    return result;
}

std::optional<config_vbuf_entry_t> config_vbuf_take(std::string_view& payload) {
    EntryHeader header{};
    if (payload.size() < sizeof header) {
        return std::nullopt;
    }
    std::memcpy(&header, payload.data(), sizeof header);
    const std::string_view body = payload.substr(sizeof header);
    if (header.name_bytes > body.size()) {
        return std::nullopt;
    }
    // The length itself first: where sizes have 32 bits, padding a foreign one may pass their end.
    const size_t room = body.size() - header.name_bytes;
    if (header.data_bytes > room || cbus_pad4(header.data_bytes) > room) {
        return std::nullopt;
    }
    const size_t name_length = body.substr(0, header.name_bytes).find('\0');
    if (name_length == std::string_view::npos) {
        return std::nullopt;
    }
    payload = body.substr(header.name_bytes + cbus_pad4(header.data_bytes));
    return config_vbuf_entry_t{header.type, header.status, body.substr(0, name_length),
                               body.substr(header.name_bytes, header.data_bytes)};
}

void config_vbuf_append(std::string& payload, const config_vbuf_entry_t& entry) {
    const size_t used = payload.size();
    payload.resize(used + config_vbuf_entry_bytes(entry.name.size(), entry.data.size()), '\0');
    fill_entry(payload.data() + used, nullptr, entry);
}

size_t config_vbuf_entry_bytes(size_t name_length, size_t data_bytes) {
    return kConfigVbufEntryBytes + cbus_pad4(name_length + 1) + cbus_pad4(data_bytes);
}
