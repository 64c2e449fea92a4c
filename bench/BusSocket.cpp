// SPDX-License-Identifier: MIT

#include "BusSocket.h"

#include <poll.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cbus/cbus_sock_impl.h"
#include "cbus/socket_helpers.h"

namespace {

[[noreturn]] void fail() {
    std::perror("bench: the bus");
    std::exit(1);
}

}  // namespace

BusSocket::BusSocket(const std::string& address) : m_socket(socket_create_client(address.c_str())) {
    if (!m_socket.valid()) {
        fail();
    }
}

void BusSocket::tell(const char* what, const std::string& text) {
    cbus_header_t header{};
    header.type = CBUS_SIGNAL;
    if (cbus_msg_write(m_socket.get(), header, what, text.c_str(), static_cast<uint32_t>(text.size() + 1)) !=
        0) {
        fail();
    }
}

std::string BusSocket::message(int type, const std::string& name) {
    cbus_header_t header{};
    header.type = static_cast<uint8_t>(type);
    header.nlen = static_cast<uint16_t>(name.size() + 1);
    header.dlen = static_cast<uint32_t>(kMessageBytes - sizeof header - cbus_pad4(header.nlen));
    std::string message(kMessageBytes, '\0');
    std::memcpy(message.data(), &header, sizeof header);
    std::memcpy(message.data() + sizeof header, name.data(), name.size());
    return message;
}

void BusSocket::write(const std::string& message) {
    if (send(m_socket.get(), message.data(), message.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(message.size())) {
        fail();
    }
}

size_t BusSocket::read() {
    const ssize_t n = recv(m_socket.get(), m_received, sizeof m_received, 0);
    if (n <= 0) {
        fail();
    }
    return static_cast<size_t>(n);
}

bool BusSocket::hasArrived() const {
    pollfd look{m_socket.get(), POLLIN, 0};
    return poll(&look, 1, 0) == 1;
}
