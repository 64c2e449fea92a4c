// SPDX-License-Identifier: MIT

#pragma once

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include "runtime/c_owner.h"

// ServiceManager: the end of a service manager at which the programs that it has started report: a datagram socket.
class ServiceManager {
  public:
    // The address as in NOTIFY_SOCKET: a path, or an abstract name after "@".
    explicit ServiceManager(std::string address) {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        if (address[0] == '@') {
            address[0] = '\0';
        }
        address.copy(name.sun_path, sizeof name.sun_path);
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
        if (bind(m_socket.get(), reinterpret_cast<const sockaddr*>(&name), length) != 0) {
            throw std::runtime_error("cannot listen as the service manager");
        }
        const timeval limit{10, 0};
        setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    // The next datagram that is there, empty without one.
    [[nodiscard]] std::string Hear() const { return Receive(MSG_DONTWAIT); }
    // The next one within ten seconds that is none of a watchdog.
    [[nodiscard]] std::string AwaitNews() const {
        std::string heard = Await();
        while (heard == "WATCHDOG=1") {
            heard = Await();
        }
        return heard;
    }
    [[nodiscard]] std::string Await() const { return Receive(0); }

  private:
    [[nodiscard]] std::string Receive(int flags) const {
        char text[100];
        const ssize_t n = recv(m_socket.get(), text, sizeof text, flags);
        return {text, n > 0 ? static_cast<size_t>(n) : 0};
    }

    UniqueFd m_socket{socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)};
};
