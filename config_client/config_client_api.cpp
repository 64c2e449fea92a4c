// SPDX-License-Identifier: MIT

#include "config_client/config_client_api.h"

#include <algorithm>
#include <cstring>

#include "cbus/cbus_client.h"
#include "config_client/config_notifications.h"
#include "config_client/config_request.h"
#include "config_client/config_wire.h"
#include "runtime/px_panic.h"

namespace {

constexpr uint32_t kAnyType = 0;
// The header of a write and this many value bytes fit the buffer on the stack.
constexpr uint32_t kStackValueBytes = 188;

struct ReadResult {
    int status;
    uint32_t type;
    uint32_t length;  // of what is in the buffer; the outputs below are undefined with CONFIG_NO_REPLY
};

// Copies the value of a reply into the buffer unless its type is not the expected one.
ReadResult take_value(const char* reply, uint32_t expected_type, void* buffer, uint32_t size) {
    config_read_reply_t header{};
    std::memcpy(&header, reply, sizeof header);
    ReadResult result{header.status, header.type, std::min(size, header.length)};
    if (header.status == CONFIG_OK || header.status == CONFIG_TRUNCATED) {
        if (expected_type != kAnyType && header.type != expected_type) {
            result.status = CONFIG_MISMATCH;
        } else if (result.length > 0) {
            std::memcpy(buffer, reply + sizeof header, result.length);
        }
    }
    return result;
}

ReadResult read_value(const char* key, uint32_t expected_type, void* buffer, uint32_t size) {
    const config_read_request_t request{kConfigNoContext, expected_type, size};
    Malloced<char> reply;
    const int length = config_send_request("read", key, &request, sizeof request, reply);
    if (length < 1) {
        return {CONFIG_NO_REPLY, 0, 0};
    }
    config_read_reply_t header{};
    px_assert(static_cast<size_t>(length) >= sizeof header, kConfigModule);
    std::memcpy(&header, reply.get(), sizeof header);
    px_assert(static_cast<size_t>(length) == sizeof header + header.length, kConfigModule);
    return take_value(reply.get(), expected_type, buffer, size);
}

void send_write(const char* key, char* payload, const void* value, uint32_t length, uint32_t type) {
    const config_write_header_t header{kConfigNoContext, type, length};
    std::memcpy(payload, &header, sizeof header);
    if (length > 0) {
        std::memcpy(payload + sizeof header, value, length);
    }
    config_send_signal("write", key, payload, static_cast<uint32_t>(sizeof header) + length);
}

// The first word of a reply of exactly `Words` words is its status; the words go to `reply_words`.
template <size_t Words>
int status_request(const char* operation, const char* key, int32_t (&reply_words)[Words]) {
    Malloced<char> reply;
    const int length = config_send_request(operation, key, &kConfigNoContext, sizeof kConfigNoContext, reply);
    if (length < 1) {
        return CONFIG_NO_REPLY;
    }
    px_assert(static_cast<size_t>(length) == sizeof reply_words, kConfigModule);
    std::memcpy(reply_words, reply.get(), sizeof reply_words);
    return reply_words[0];
}

}  // namespace

int config_init_cbus(_cbus_conn_t* connection, _cbus_conn_t* callbackConnection) {
    if (connection == nullptr) {
        px_panic("Could not connect to cbus server\n");
    }
    config_connections.request = connection;
    config_connections.callback = callbackConnection != nullptr ? callbackConnection : connection;
    cbus_client_init_cb(config_connections.callback);
    config_listen_for_changes();
    config_listen_for_validations();
    return 0;
}

int config_read_typed(const char* key, void* buffer, uint32_t size, uint32_t* lengthOut, uint32_t* typeOut) {
    const ReadResult result = read_value(key, kAnyType, buffer, size);
    if (result.status != CONFIG_NO_REPLY) {
        *lengthOut = result.length;
        *typeOut = result.type;
    }
    return result.status;
}

int config_read_int(const char* key, int32_t* valueOut) {
    int32_t value = 0;
    const ReadResult result = read_value(key, CONFIG_TYPE_INT, &value, sizeof value);
    if (result.status != CONFIG_OK) {
        return result.status;
    }
    if (result.length != sizeof value) {
        return CONFIG_MISMATCH;
    }
    *valueOut = value;
    return CONFIG_OK;
}

int config_read_string(const char* key, char* buffer, uint32_t size) {
    if (buffer == nullptr || size == 0) {
        return CONFIG_TRUNCATED;
    }
    const ReadResult result = read_value(key, CONFIG_TYPE_STRING, buffer, size);
    if (result.status != CONFIG_OK && result.status != CONFIG_TRUNCATED) {
        return result.status;
    }
    buffer[std::min(result.length, size - 1)] = '\0';
    return CONFIG_OK;
}

int config_write_typed(const char* key, const void* value, uint32_t length, uint32_t type) {
    const uint32_t value_bytes = value != nullptr ? length : 0;
    if (value_bytes <= kStackValueBytes) {
        char payload[sizeof(config_write_header_t) + kStackValueBytes];
        send_write(key, payload, value, value_bytes, type);
        return 0;
    }
    const Malloced<char> payload(
        static_cast<char*>(std::malloc(sizeof(config_write_header_t) + value_bytes)));
    px_assert(payload != nullptr, kConfigModule);
    send_write(key, payload.get(), value, value_bytes, type);
    return 0;
}

int config_write_int(const char* key, int32_t value) {
    return config_write_typed(key, &value, sizeof value, CONFIG_TYPE_INT);
}

int config_write_string(const char* key, const char* text) {
    const size_t length = text != nullptr ? std::strlen(text) + 1 : 0;
    return config_write_typed(key, text, static_cast<uint32_t>(length), CONFIG_TYPE_STRING);
}

int config_delete(const char* key) {
    return config_write_typed(key, nullptr, 0, CONFIG_TYPE_NONE);
}

int config_deletem(const char* pattern) {
    return config_send_signal("delm", pattern, nullptr, 0);
}

int config_status(const char* key, uint32_t* informationOut) {
    int32_t words[2] = {};
    const int status = status_request("stat", key, words);
    if (status != CONFIG_NO_REPLY && informationOut != nullptr) {
        *informationOut = static_cast<uint32_t>(words[1]);
    }
    return status;
}

int config_sync(const char* argument) {
    return config_send_signal("sync", argument, nullptr, 0);
}

int config_factory_reset() {
    int32_t words[1] = {};
    return status_request("factory_reset", nullptr, words);
}
