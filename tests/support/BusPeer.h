// SPDX-License-Identifier: MIT

#pragma once

#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>

#include "cbus/cbus_sock_impl.h"
#include "cbus/cbus_wire.h"
#include "runtime/c_owner.h"

// What a test says and hears on the wire.
struct WireMessage {
    int type = 0;
    int src = 0;
    int seqn = 0;
    int reserved = 0;
    std::string name;
    std::string data;

    bool operator==(const WireMessage&) const = default;
};

inline void PrintTo(const WireMessage& message, std::ostream* out) {
    *out << "{type " << message.type << ", src " << message.src << ", seqn " << message.seqn << ", reserved "
         << message.reserved << ", \"" << message.name << "\", \"" << message.data << "\"}";
}

inline std::string HeaderBytes(const cbus_header_t& header) {
    return {reinterpret_cast<const char*>(&header), kCbusHeaderBytes};
}

inline std::string Padded(std::string text) {
    text.resize(cbus_pad4(text.size()), '\0');
    return text;
}

// The bytes of a message; without a name when that is empty.
inline std::string Bytes(const WireMessage& message) {
    const size_t name_bytes = message.name.empty() ? 0 : message.name.size() + 1;
    const cbus_header_t header{
        static_cast<uint8_t>(message.type),  static_cast<uint8_t>(message.src),
        static_cast<uint16_t>(message.seqn), static_cast<uint16_t>(message.reserved),
        static_cast<uint16_t>(name_bytes),   static_cast<uint32_t>(message.data.size())};
    std::string name = message.name;
    name.resize(name_bytes, '\0');
    return HeaderBytes(header) + Padded(name) + Padded(message.data);
}

// BusPeer: a test's end of a connection. Receiving gives up after five seconds, so a missing message fails a test
// instead of holding it.
class BusPeer {
  public:
    BusPeer() = default;
    explicit BusPeer(UniqueFd fd) : m_fd(std::move(fd)) {
        const timeval limit{5, 0};
        setsockopt(m_fd.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    }

    [[nodiscard]] int fd() const { return m_fd.get(); }
    void Hang() { m_fd.reset(); }

    bool Send(std::string_view bytes) {
        return send(m_fd.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
               static_cast<ssize_t>(bytes.size());
    }
    bool Send(const WireMessage& message) { return Send(Bytes(message)); }

    // Up to `size` bytes: fewer when the other end has gone or sends no more.
    std::string ReceiveBytes(size_t size) {
        std::string bytes(size, '\0');
        const ssize_t n = recv(m_fd.get(), bytes.data(), size, MSG_WAITALL);
        bytes.resize(n > 0 ? static_cast<size_t>(n) : 0);
        return bytes;
    }

    // The next message; type 0 when none comes.
    WireMessage Receive() {
        cbus_rx_message_t received;
        if (cbus_msg_read(m_fd.get(), received) < 0) {
            return {};
        }
        const cbus_header_t& header = received.header;
        const char* body = received.body.get();
        return {header.type,
                header.src,
                header.seqn,
                header.reserved,
                header.nlen > 0 ? body : "",
                std::string(body + cbus_pad4(header.nlen), header.dlen)};
    }

    [[nodiscard]] bool IsReadable() const {
        pollfd wanted{m_fd.get(), POLLIN, 0};
        return poll(&wanted, 1, 0) == 1;
    }

    // A whole message is there, or the other end has gone: Receive() does not wait.
    [[nodiscard]] bool HasMessage() const {
        cbus_header_t header;
        const ssize_t n = recv(m_fd.get(), &header, kCbusHeaderBytes, MSG_PEEK | MSG_DONTWAIT);
        if (n != static_cast<ssize_t>(kCbusHeaderBytes)) {
            return n == 0 || (n < 0 && errno != EAGAIN);
        }
        int available = 0;
        ioctl(m_fd.get(), FIONREAD, &available);
        return static_cast<uint64_t>(available) >= kCbusHeaderBytes + cbus_body_bytes(header);
    }

  private:
    UniqueFd m_fd;
};
