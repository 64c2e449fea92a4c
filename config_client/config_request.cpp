// SPDX-License-Identifier: MIT

#include "config_client/config_request.h"

#include <cstdio>

#include "cbus/cbus.h"

namespace {

constexpr size_t kNameBytes = 512;

void format_name(char (&name)[kNameBytes], const char* operation, const char* argument) {
    const bool has_argument = argument != nullptr && argument[0] != '\0';
    std::snprintf(name, sizeof name, "config.%s%s%s", operation, has_argument ? "." : "",
                  has_argument ? argument : "");
}

}  // namespace

config_connections_t config_connections;

int config_send_signal(const char* operation, const char* argument, const void* data, uint32_t length) {
    char name[kNameBytes];
    format_name(name, operation, argument);
    return cbus_send_signal(config_connections.request, name, data, length);
}

int config_send_request(const char* operation, const char* argument, const void* data, uint32_t length,
                        Malloced<char>& reply) {
    char name[kNameBytes];
    format_name(name, operation, argument);
    const int cookie = cbus_send_request(config_connections.request, name, data, length);
    if (cookie < 0) {
        return -1;
    }
    void* buffer = nullptr;
    const int reply_length = cbus_get_reply(config_connections.request, cookie, &buffer);
    reply.reset(static_cast<char*>(buffer));
    return reply_length;
}
