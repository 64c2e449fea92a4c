// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstring>

#include "config_client/config_client_api.h"
#include "config_client/config_request.h"
#include "config_client/config_wire.h"
#include "runtime/px_panic.h"

// The operations that carry several keys in one message.

namespace {

// A vbuf under construction.
struct Payload {
    Malloced<void> buffer;
    size_t used = 0;

    void add(uint32_t type, const char* key, const void* data, uint32_t length) {
        void* grown = buffer.release();
        used = config_vbuf_add(&grown, used, nullptr, type, key, data, length, CONFIG_OK);
        buffer.reset(grown);
    }
};

uint32_t value_bytes(const config_data_t& element) {
    if (element.type == CONFIG_TYPE_STRING) {
        return element.value != nullptr
                   ? static_cast<uint32_t>(std::strlen(static_cast<const char*>(element.value)) + 1)
                   : 0;
    }
    if (element.type == CONFIG_TYPE_INT) {
        return element.value != nullptr ? sizeof(int32_t) : 0;
    }
    return element.size;
}

Payload write_payload(unsigned int count, const config_data_t* elements) {
    Payload payload;
    for (const config_data_t* element = elements; element != elements + count; ++element) {
        payload.add(element->type, element->key, element->value, value_bytes(*element));
    }
    return payload;
}

// The bus answers with nothing for a database that is not there; the database answers with an entry per element.
bool is_no_reply(int length, unsigned int count) {
    return length < 0 || (length == 0 && count > 0);
}

// Where a walk over reply entries stands among the elements that they belong to.
struct Cursor {
    config_data_t* next;
    config_data_t* end;
};

void copy_value(config_data_t& element, const void* data, uint32_t length) {
    const uint32_t bytes = std::min(length, element.size);
    if (element.type == CONFIG_TYPE_INT && bytes != sizeof(int32_t)) {
        element.status = CONFIG_MISMATCH;
        return;
    }
    if (bytes > 0) {
        std::memcpy(element.value, data, bytes);
    }
    if (element.type == CONFIG_TYPE_STRING) {
        static_cast<char*>(element.value)[element.size - 1] = '\0';
    }
}

int take_read_entry(void* context, uint32_t type, const char*, const void* data, uint32_t length,
                    int status) {
    auto* const cursor = static_cast<Cursor*>(context);
    if (cursor->next == cursor->end) {
        return 0;
    }
    config_data_t& element = *cursor->next++;
    element.status = status;
    element.length = length;
    if (status == CONFIG_NO_VALUE) {
        element.length = 0;
    } else if (type != element.type) {
        element.status = CONFIG_MISMATCH;
        element.length = 0;
    } else if (element.value != nullptr && element.size > 0) {
        copy_value(element, data, length);
    }
    return 0;
}

int take_status_entry(void* context, uint32_t, const char*, const void*, uint32_t, int status) {
    auto* const cursor = static_cast<Cursor*>(context);
    if (cursor->next != cursor->end) {
        (cursor->next++)->status = status;
    }
    return 0;
}

int take_matched_entry(void* context, uint32_t type, const char* name, const void* data, uint32_t length,
                       int status) {
    auto* const cursor = static_cast<Cursor*>(context);
    if (cursor->next == cursor->end) {
        return -1;
    }
    *cursor->next++ = {type, name, const_cast<void*>(data), length, length, status};
    return 0;
}

}  // namespace

int config_readv(const char* prefix, unsigned int count, config_data_t* elements) {
    Payload payload;
    for (config_data_t* element = elements; element != elements + count; ++element) {
        payload.add(element->type, element->key, nullptr, 0);
    }
    Malloced<char> reply;
    const int length = config_send_request("readv", prefix, payload.buffer.get(),
                                           static_cast<uint32_t>(payload.used), reply);
    if (is_no_reply(length, count)) {
        return CONFIG_NO_REPLY;
    }
    Cursor cursor{elements, elements + count};
    config_vbuf_parse(reply.get(), static_cast<size_t>(length), take_read_entry, &cursor);
    return 0;
}

int config_writev(const char* prefix, unsigned int count, const config_data_t* elements) {
    const Payload payload = write_payload(count, elements);
    return config_send_signal("writev", prefix, payload.buffer.get(), static_cast<uint32_t>(payload.used));
}

int config_modifyv(const char* prefix, unsigned int count, config_data_t* elements) {
    const Payload payload = write_payload(count, elements);
    Malloced<char> reply;
    const int length = config_send_request("modifyv", prefix, payload.buffer.get(),
                                           static_cast<uint32_t>(payload.used), reply);
    if (is_no_reply(length, count)) {
        return CONFIG_NO_REPLY;
    }
    Cursor cursor{elements, elements + count};
    const int parsed =
        config_vbuf_parse(reply.get(), static_cast<size_t>(length), take_status_entry, &cursor);
    const config_data_t* const failed = std::find_if(
        elements, elements + count, [](const config_data_t& e) { return e.status != CONFIG_OK; });
    return failed != elements + count ? failed->status : parsed;
}

int config_readm(const char* pattern, unsigned int* countOut, config_data_t** elementsOut) {
    *countOut = 0;
    *elementsOut = nullptr;
    Malloced<char> reply;
    const int length = config_send_request("readm", pattern, nullptr, 0, reply);
    if (length <= 0) {
        return length;
    }
    config_match_header_t header{};
    px_assert(static_cast<size_t>(length) > sizeof header, kConfigModule);
    std::memcpy(&header, reply.get(), sizeof header);
    const size_t vbuf_bytes = static_cast<size_t>(length) - sizeof header;
    // Every entry takes its header at least: a count beyond that is no reason to ask for gigabytes.
    const size_t count = std::min<size_t>(header.count, vbuf_bytes / kConfigVbufEntryBytes);
    const size_t array_bytes = count * sizeof(config_data_t);
    Malloced<char> block(static_cast<char*>(std::calloc(1, array_bytes + vbuf_bytes)));
    if (block == nullptr) {
        return -1;
    }
    char* const vbuf =
        static_cast<char*>(std::memcpy(block.get() + array_bytes, reply.get() + sizeof header, vbuf_bytes));
    auto* const elements = reinterpret_cast<config_data_t*>(block.get());
    Cursor cursor{elements, elements + count};
    config_vbuf_parse(vbuf, vbuf_bytes, take_matched_entry, &cursor);
    *countOut = static_cast<unsigned int>(cursor.next - elements);
    if (*countOut > 0) {
        *elementsOut = reinterpret_cast<config_data_t*>(block.release());
    }
    return 0;
}
