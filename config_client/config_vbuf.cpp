#include "config_client/config_vbuf.h"

#include <cstdlib>
#include <cstring>

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

constexpr size_t pad4(size_t n) {
    return (n + 3) & ~size_t{3};
}

}  // namespace

size_t config_vbuf_add(void** buffer, size_t used, const char* prefix, uint32_t type, const char* key,
                       const void* data, uint32_t length, int status) {
    const size_t name_length = (prefix != nullptr ? std::strlen(prefix) + 1 : 0) + std::strlen(key);
    const uint32_t data_bytes = data != nullptr ? length : 0;
    const size_t name_bytes = pad4(name_length + 1);
    const size_t entry_bytes = kConfigVbufEntryBytes + name_bytes + pad4(data_bytes);

    char* const grown = static_cast<char*>(std::realloc(*buffer, used + entry_bytes));
    px_assert(grown != nullptr, kModule);
    *buffer = grown;
    char* const entry = grown + used;
    std::memset(entry, 0, entry_bytes);
    const EntryHeader header{static_cast<uint8_t>(type), static_cast<int8_t>(status), 0,
                             static_cast<uint32_t>(name_bytes), data_bytes};
    std::memcpy(entry, &header, sizeof header);
    char* const name = entry + kConfigVbufEntryBytes;
    char* rest_of_name = name;
    if (prefix != nullptr) {
        rest_of_name = stpcpy(name, prefix);
        *rest_of_name++ = '.';
    }
    stpcpy(rest_of_name, key);
    if (data_bytes > 0) {
        std::memcpy(name + name_bytes, data, data_bytes);
    }
    return used + entry_bytes;
}

int config_vbuf_parse(const void* buffer, size_t used, config_vbuf_cb_t callback, void* context) {
    const char* entry = static_cast<const char*>(buffer);
    size_t left = used;
    int result = 0;
    while (left >= kConfigVbufEntryBytes) {
        EntryHeader header{};
        std::memcpy(&header, entry, sizeof header);
        const char* const name = entry + kConfigVbufEntryBytes;
        const size_t body_bytes = left - kConfigVbufEntryBytes;
        if (header.name_bytes > body_bytes || pad4(header.data_bytes) > body_bytes - header.name_bytes ||
            std::memchr(name, '\0', header.name_bytes) == nullptr) {
            return result;
        }
        const char* const data = header.data_bytes > 0 ? name + header.name_bytes : nullptr;
        result |= callback(context, header.type, name, data, header.data_bytes, header.status);
        const size_t entry_bytes = kConfigVbufEntryBytes + header.name_bytes + pad4(header.data_bytes);
        entry += entry_bytes;
        left -= entry_bytes;
    }
    px_assert(left == 0, kModule);
    return result;
}
