// SPDX-License-Identifier: MIT

#include "tools/cbusctl/BusClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "cbus/cbus_sock_impl.h"
#include "cbus/socket_helpers.h"

namespace {

using Clock = Deadline::clock;

constexpr std::chrono::milliseconds kRetryPause{20};

}  // namespace

BusClient::Outcome BusClient::fail(std::string problem) {
    m_problem = std::move(problem);
    return Outcome::kFailed;
}

BusClient::Outcome BusClient::connect(const std::string& address) {
    const std::string problem = "cannot reach the bus '" + address + "': ";
    const Deadline deadline = Clock::now() + kCallLimit;
    m_socket.reset(socket_create_client_nonblocking(address.c_str()));
    while (!m_socket.valid()) {
        // EAGAIN: more connections wait to be accepted than the bus has room for. No event tells of the next place.
        const int error = errno;
        if (error != EAGAIN || Clock::now() >= deadline) {
            return fail(problem + std::strerror(error));
        }
        if (m_interruption.await(-1, 0, Clock::now() + kRetryPause) == Interruption::Wakeup::kInterrupted) {
            return Outcome::kInterrupted;
        }
        m_socket.reset(socket_create_client_nonblocking(address.c_str()));
    }
    const Outcome outcome = client_await(m_interruption, m_socket.get(), POLLOUT, deadline);
    if (outcome == Outcome::kInterrupted) {
        return outcome;
    }
    const int error = outcome == Outcome::kOk ? socket_get_error(m_socket.get()) : ETIMEDOUT;
    if (error != 0) {
        return fail(problem + std::strerror(error));
    }
    // Whole messages are read and written, each in one go but not for ever.
    const timeval limit{kMessageLimit.count(), 0};
    setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    return socket_set_blocking(m_socket.get(), true) == 0 ? Outcome::kOk
                                                          : fail(problem + std::strerror(errno));
}

BusClient::Outcome BusClient::send(std::uint8_t type, const std::string& name, const std::string& data) {
    const cbus_header_t header{type, static_cast<std::uint8_t>(m_socket.get()), m_next_seqn, 0, 0, 0};
    if (kCbusHeaderBytes + cbus_pad4(name.size() + 1) + cbus_pad4(data.size()) > kCbusMaxMessageBytes) {
        return fail("the message is longer than the bus allows");
    }
    const void* bytes = data.empty() ? nullptr : data.data();
    return cbus_msg_write(m_socket.get(), header, name.c_str(), bytes,
                          static_cast<std::uint32_t>(data.size())) == 0
               ? Outcome::kOk
               : fail("the connection has ended");
}

BusClient::Outcome BusClient::signal(const std::string& name, const std::string& data) {
    const Outcome outcome = send(CBUS_SIGNAL, name, data);
    ++m_next_seqn;
    return outcome;
}

BusClient::Outcome BusClient::ask(const std::string& name, const std::string& data, std::uint16_t& seqn) {
    const Outcome outcome = send(CBUS_REQUEST, name, data);
    seqn = m_next_seqn++;
    return outcome;
}

BusClient::Outcome BusClient::call(const std::string& name, const std::string& data, BusMessage& reply) {
    const Deadline deadline = Clock::now() + kCallLimit;
    std::uint16_t seqn = 0;
    Outcome outcome = ask(name, data, seqn);
    while (outcome == Outcome::kOk) {
        BusMessage message;
        outcome = receive(deadline, message);
        if (outcome == Outcome::kOk && message.type == CBUS_REPLY && message.seqn == seqn) {
            reply = std::move(message);
            return outcome;
        }
    }
    return outcome == Outcome::kTimeLimit
               ? fail("no answer within " + std::to_string(kCallLimit.count()) + " s")
               : outcome;
}

BusClient::Outcome BusClient::receive(Deadline deadline, BusMessage& message) {
    if (const Outcome outcome = client_await(m_interruption, m_socket.get(), POLLIN, deadline);
        outcome != Outcome::kOk) {
        return outcome;
    }
    cbus_rx_message_t received;
    if (cbus_msg_read(m_socket.get(), received) < 0) {
        return fail("the connection has ended");
    }
    const cbus_header_t& header = received.header;
    const char* body = received.body.get();
    message = {header.type, header.seqn, header.nlen > 0 ? body : "",
               std::string(body + cbus_pad4(header.nlen), header.dlen)};
    return Outcome::kOk;
}
