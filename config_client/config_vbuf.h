// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// config_vbuf: the payload of messages that carry several keys: entries one after the other, each 4-aligned and
// in host byte order:
//     u8 type, s8 status, u16 0, u32 name field length, u32 data length, name and NUL padded to 4, data padded to 4.

constexpr size_t kConfigVbufEntryBytes = 12;  // in front of the name

// Appends one entry and returns the new used size. *buffer is null or from malloc and may move; who calls owns it.
// A non-null prefix makes the name "prefix.key". Null data makes an entry of length 0 whatever `length` says.
// Out of memory stops the process.
size_t config_vbuf_add(void** buffer, size_t used, const char* prefix, uint32_t type, const char* key,
                       const void* data, uint32_t length, int status);

// Called per entry; name and data (null when the length is 0) point into the buffer. The results are or-ed.
using config_vbuf_cb_t = int (*)(void* context, uint32_t type, const char* name, const void* data,
                                 uint32_t length, int status);

// Walks the entries and returns the or of the callbacks' results, 0 for an empty buffer. Ends at an entry whose
// lengths do not fit or whose name has no NUL. A tail of 1 to 11 bytes stops the process: buffers come from the
// database, not from clients.
int config_vbuf_parse(const void* buffer, size_t used, config_vbuf_cb_t callback, void* context);

// The same for those who trust nobody, one entry at a time.
struct config_vbuf_entry_t {
    uint8_t type;
    int8_t status;
    std::string_view name;  // without its NUL, which stands behind it in a payload
    std::string_view data;
};

// Takes the first entry off the payload, into which it points. Nothing, and the payload as it was, when it is too short
// for one, the lengths do not fit or the name has no NUL.
[[nodiscard]] std::optional<config_vbuf_entry_t> config_vbuf_take(std::string_view& payload);
// The name holds no NUL. Throws std::bad_alloc.
void config_vbuf_append(std::string& payload, const config_vbuf_entry_t& entry);
// Bytes of an entry with a name and data of these sizes.
[[nodiscard]] size_t config_vbuf_entry_bytes(size_t name_length, size_t data_bytes);
