// SPDX-License-Identifier: MIT

#include "device/cbusd/OutputQueue.h"

#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace {

// The bytes that went out, 0 when the socket takes none now, -1 when it never will again.
ssize_t send_pieces(int socket, iovec* pieces, size_t count) {
    msghdr message{};
    message.msg_iov = pieces;
    message.msg_iovlen = count;
    for (;;) {
        const ssize_t n = sendmsg(socket, &message, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n >= 0) {
            return n;
        }
        if (errno == EAGAIN || errno == EWOULDBLOCK) {
            return 0;
        }
        if (errno != EINTR) {
            return -1;
        }
    }
}

}  // namespace

OutputQueue::Result OutputQueue::send(int socket, const cbus_header_t& header, std::span<const char> body) {
    const std::span<const char> head(reinterpret_cast<const char*>(&header), kCbusHeaderBytes);
    size_t sent = 0;
    if (m_waiting.empty()) {
        iovec pieces[] = {{const_cast<char*>(head.data()), head.size()},
                          {const_cast<char*>(body.data()), body.size()}};
        const ssize_t n = send_pieces(socket, pieces, std::size(pieces));
        if (n < 0) {
            return Result::kGone;
        }
        sent = static_cast<size_t>(n);
    }
    for (const std::span<const char> piece : {head, body}) {
        const size_t out = std::min(sent, piece.size());
        m_waiting.append(piece.data() + out, piece.size() - out);
        sent -= out;
    }
    return Result::kOk;
}

OutputQueue::Result OutputQueue::flush(int socket) {
    iovec rest{m_waiting.data() + m_sent, waiting_bytes()};
    const ssize_t n = send_pieces(socket, &rest, 1);
    if (n < 0) {
        return Result::kGone;
    }
    m_sent += static_cast<size_t>(n);
    drop_sent();
    return Result::kOk;
}

// Moving the rest to the front only when it is the smaller half keeps the cost in proportion to what goes out.
void OutputQueue::drop_sent() {
    if (m_sent == m_waiting.size()) {
        clear();
    } else if (m_sent > m_waiting.size() / 2) {
        m_waiting.erase(0, m_sent);
        m_sent = 0;
    }
}

void OutputQueue::clear() {
    std::string().swap(m_waiting);
    m_sent = 0;
}
