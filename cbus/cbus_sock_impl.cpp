// SPDX-License-Identifier: MIT

#include "cbus/cbus_sock_impl.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "runtime/px_panic.h"

namespace {

constexpr const char* kModule = "cbus_sock_impl";

bool read_exactly(int socket, void* buffer, size_t size) {
    auto* next = static_cast<char*>(buffer);
    while (size > 0) {
        const ssize_t n = recv(socket, next, size, 0);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return false;
        }
        next += n;
        size -= static_cast<size_t>(n);
    }
    return true;
}

ssize_t send_gathered(int socket, iovec* pieces, size_t count) {
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    ssize_t n = 0;
    do {
        n = sendmsg(socket, &message, MSG_NOSIGNAL);
    } while (n < 0 && errno == EINTR);
    return n;
}

}  // namespace

int cbus_msg_read(int socket, cbus_rx_message_t& message) {
    cbus_header_t& header = message.header;
    if (!read_exactly(socket, &header, kCbusHeaderBytes) || cbus_body_bytes(header) > kCbusMaxBodyBytes) {
        return -1;
    }
    const size_t size = cbus_pad4(header.nlen) + cbus_pad4(header.dlen);
    message.body.reset(static_cast<char*>(malloc(size + kCbusRxSlackBytes)));
    px_assert(message.body != nullptr, kModule);
    char* body = message.body.get();
    if (!read_exactly(socket, body, size)) {
        return -1;
    }
    if (header.nlen > 0) {
        body[header.nlen - 1] = '\0';
    }
    const size_t used = cbus_pad4(header.nlen) + header.dlen;
    memset(body + used, 0, size + kCbusRxSlackBytes - used);
    return static_cast<int>(kCbusHeaderBytes + size);
}

int cbus_msg_write(int socket, cbus_header_t header, const char* name, const void* data, uint32_t length) {
    const size_t name_bytes = name != nullptr ? strlen(name) + 1 : 0;
    if (name_bytes > UINT16_MAX) {
        return -1;
    }
    header.nlen = static_cast<uint16_t>(name_bytes);
    header.dlen = data != nullptr ? length : 0;
    // Not a byte of it: the broker would end the connection, and with it everything else that this process does there.
    if (kCbusHeaderBytes + cbus_body_bytes(header) > kCbusMaxMessageBytes) {
        return -1;
    }
    char zeros[4] = {};
    iovec pieces[] = {
        {&header, kCbusHeaderBytes},
        {const_cast<char*>(name), name_bytes},
        {zeros, cbus_pad4(name_bytes) - name_bytes},
        {const_cast<void*>(data), header.dlen},
        {zeros, cbus_pad4(header.dlen) - header.dlen},
    };
    const auto total = static_cast<ssize_t>(kCbusHeaderBytes + cbus_body_bytes(header));
    const ssize_t n = send_gathered(socket, pieces, std::size(pieces));
    if (n > 0 && n < total) {
        // The bus would take the next message for the rest of this one, so there is no next message.
        shutdown(socket, SHUT_RDWR);
    }
    return n == total ? 0 : -1;
}
