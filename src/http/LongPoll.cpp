// SPDX-License-Identifier: MIT

#include "src/http/LongPoll.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/event.h>
#include <event2/http.h>

namespace {

constexpr size_t kMaxWaitingInput = 65536;
constexpr int kProbeAfterSeconds = 60;
constexpr int kProbeIntervalSeconds = 10;
constexpr int kProbes = 6;

// A client that vanished without a word, with its network or its power, keeps its descriptor here for ever otherwise:
// this server never sends to a waiting client.
void probePeer(evutil_socket_t fd) {
    const int on = 1;
    setsockopt(fd, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPIDLE, &kProbeAfterSeconds, sizeof kProbeAfterSeconds);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPINTVL, &kProbeIntervalSeconds, sizeof kProbeIntervalSeconds);
    setsockopt(fd, IPPROTO_TCP, TCP_KEEPCNT, &kProbes, sizeof kProbes);
}

// Treats the flood as the end of the connection. A limit on reading alone would hide the real end behind what has
// not been read. Inside the buffer's callback the connection cannot be freed: the loop does it.
void onInputWhileWaiting(evbuffer* input, const evbuffer_cb_info*, void* stream) noexcept {
    if (evbuffer_get_length(input) > kMaxWaitingInput) {
        bufferevent_trigger_event(static_cast<bufferevent*>(stream), BEV_EVENT_READING | BEV_EVENT_EOF,
                                  BEV_TRIG_DEFER_CALLBACKS);
    }
}

}  // namespace

LongPoll::LongPoll(evhttp_request* req, ClosedCb closed, void* arg)
    : m_connection(evhttp_request_get_connection(req)),
      m_stream(evhttp_connection_get_bufferevent(m_connection)) {
    watchCallbacks();
    probePeer(bufferevent_getfd(m_stream));
    watchInput();
    evhttp_connection_set_closecb(m_connection, closed, arg);
    bufferevent_enable(m_stream, EV_READ);
}

LongPoll::~LongPoll() {
    if (m_inputWatch != nullptr) {
        evbuffer_remove_cb_entry(bufferevent_get_input(m_stream), m_inputWatch);
    }
}

// The library's own reader ends the process when a byte arrives now; without one the byte stays in the buffer, for
// the connection's next request.
void LongPoll::watchCallbacks() {
    bufferevent_getcb(m_stream, &m_readCb, &m_writeCb, &m_eventCb, &m_cbArg);
    bufferevent_setcb(m_stream, nullptr, m_writeCb, m_eventCb, m_cbArg);
}

void LongPoll::watchInput() {
    m_inputWatch = evbuffer_add_cb(bufferevent_get_input(m_stream), onInputWhileWaiting, m_stream);
}

void LongPoll::resume() {
    evhttp_connection_set_closecb(m_connection, nullptr, nullptr);
    bufferevent_disable(m_stream, EV_READ);
    bufferevent_setcb(m_stream, m_readCb, m_writeCb, m_eventCb, m_cbArg);
}
