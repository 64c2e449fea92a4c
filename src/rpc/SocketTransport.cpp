// SPDX-License-Identifier: MIT

#include "src/rpc/SocketTransport.h"

#include <event2/buffer.h>
#include <event2/event.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "runtime/logging.h"
#include "runtime/px_panic.h"
#include "src/base/drop_output.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"

namespace {

constexpr const char* kModule = "src/SocketTransport";

// Operators know the panics by these numbers.
constexpr int kReadWithoutContext = 36;
constexpr int kEventWithoutContext = 44;
constexpr int kListenerWithoutContext = 58;
constexpr int kSendWithoutConnection = 253;

constexpr const char* kPanicSource = "SocketTransport.cpp";

SocketTransport* transport_of(void* context, int number) {
    px_assert(context != nullptr, kPanicSource, number);
    return static_cast<SocketTransport*>(context);
}

void on_read(bufferevent* connection, void* context) noexcept {
    transport_of(context, kReadWithoutContext)->onRead(connection);
}

void on_written(bufferevent*, void* context) noexcept {
    static_cast<SocketTransport*>(context)->onWritten();
}

void on_event(bufferevent* connection, short events, void* context) noexcept {
    transport_of(context, kEventWithoutContext)->onEvent(connection, events);
}

void on_accept(evconnlistener* listener, evutil_socket_t fd, sockaddr* peer, int peer_size,
               void* context) noexcept {
    transport_of(context, kListenerWithoutContext)->onAccept(listener, fd, peer, peer_size);
}

void on_error(evconnlistener* listener, void* context) noexcept {
    transport_of(context, kListenerWithoutContext)->onError(listener);
}

void on_resume(evutil_socket_t, short, void* listener) noexcept {
    evconnlistener_enable(static_cast<evconnlistener*>(listener));
}

bool passes_by_itself(int error) {
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

// The process that connected, also when it has handed its end on.
std::string peer_text(int descriptor) {
    ucred peer = {};
    socklen_t size = sizeof peer;
    getsockopt(descriptor, SOL_SOCKET, SO_PEERCRED, &peer, &size);
    return "pid " + std::to_string(peer.pid) + " uid " + std::to_string(peer.uid);
}

// A message as the JSON library sees it: without line ends before it, and only up to a NUL byte.
std::string_view trim_message(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of("\r\n"), text.size()));
    return text.substr(0, text.find('\0'));
}

}  // namespace

event_base* SocketTransport::m_eventbase = nullptr;

SocketTransport::SocketTransport(RPCServer* server, event_base* base) : RPCTransport(server) {
    init(server, base);
    limitConnections(kMaxConnections);
}

SocketTransport::SocketTransport(RPCServer* server, event_base* base, bufferevent* connection)
    : RPCTransport(server), m_descriptor(bufferevent_getfd(connection)), m_connection(connection) {
    init(server, base);
}

void SocketTransport::init(RPCServer* server, event_base* base) {
    m_server = server;
    m_eventbase = base;
}

void SocketTransport::limitConnections(size_t max) {
    m_limit = std::make_unique<ConnectionLimit>(kModule, max);
}

std::vector<std::string> SocketTransport::peers() {
    std::vector<std::string> texts;
    for (const RPCTransport* transport : all()) {
        if (const auto* connection = dynamic_cast<const SocketTransport*>(transport)) {
            texts.push_back(peer_text(connection->m_descriptor));
        }
    }
    return texts;
}

bool SocketTransport::listen(const char* path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const size_t length = std::strlen(path);
    if (length == 0 || length >= sizeof address.sun_path) {
        logger_function(3, kModule, "Not a socket path: '%s'\n", path);
        return false;
    }
    std::memcpy(address.sun_path, path, length);
    // A socket file of an earlier run would block the bind.
    unlink(path);
    logger_function(7, kModule, "Listening on %s\n", path);
    m_resumeAccepting.reset();
    m_listener.reset(evconnlistener_new_bind(
        m_eventbase, on_accept, this, LEV_OPT_CLOSE_ON_FREE | LEV_OPT_REUSEABLE | LEV_OPT_CLOSE_ON_EXEC, -1,
        reinterpret_cast<sockaddr*>(&address), sizeof address));
    if (m_listener == nullptr) {
        perror("Couldn't create listener");
        return false;
    }
    evconnlistener_set_error_cb(m_listener.get(), on_error);
    m_resumeAccepting.reset(evtimer_new(m_eventbase, on_resume, m_listener.get()));
    return true;
}

void SocketTransport::onAccept(evconnlistener* listener, int fd, sockaddr*, int) {
    UniqueFd descriptor(fd);
    if (all().size() >= m_limit->max()) {
        m_limit->refused(peers);
        return;
    }
    event_base* base = evconnlistener_get_base(listener);
    bufferevent* connection = bufferevent_socket_new(base, fd, BEV_OPT_CLOSE_ON_FREE);
    if (connection == nullptr) {
        logger_function(3, kModule, "No memory for a connection\n");
        return;
    }
    static_cast<void>(descriptor.release());
    auto* transport = new SocketTransport(getServer(), base, connection);
    bufferevent_setcb(connection, on_read, on_written, on_event, transport);
    bufferevent_enable(connection, EV_READ | EV_WRITE);
    RPCTransport::add(transport);
}

void SocketTransport::onError(evconnlistener* listener) {
    const int error = errno;
    pauseAccepting();
    if (passes_by_itself(error)) {
        if (m_pauseLine.take() > 0) {
            logger_function(3, kModule, "Got an error %d (%s) on the listener. Accepting again in %d ms.\n",
                            error, strerror(error), kAcceptPauseMs);
        }
        return;
    }
    logger_function(3, kModule, "Got an error %d (%s) on the listener. Shutting down.\n", error,
                    strerror(error));
    event_base_loopexit(evconnlistener_get_base(listener), nullptr);
}

// A peer that waits keeps the listener readable: without a pause the loop would spin until it is accepted.
void SocketTransport::pauseAccepting() {
    const timeval pause = {kAcceptPauseMs / 1000, (kAcceptPauseMs % 1000) * 1000};
    evconnlistener_disable(m_listener.get());
    evtimer_add(m_resumeAccepting.get(), &pause);
}

void SocketTransport::onRead(bufferevent* connection) {
    evbuffer* input = bufferevent_get_input(connection);
    const size_t length = evbuffer_get_length(input);
    const char* bytes = reinterpret_cast<const char*>(evbuffer_pullup(input, -1));
    if (length == 0 || bytes == nullptr) {
        return;
    }
    const std::string_view data(bytes, length);
    size_t start = 0;
    size_t drained = 0;
    while (const size_t end = m_scanner.findEnd(data)) {
        receive(data.substr(start, end - start));
        // The message may have ended its own connection, and the data with it.
        if (!isValid(this) || m_isClosing) {
            return;
        }
        // Counted from the start of the data, not of the message: behind several messages in one read, bytes of
        // an unfinished last one go as well. It stays so: only one message per read is dependable, and clients
        // wait for its answer before they send the next.
        drained = std::min(length, drained + end);
        start = end;
    }
    if (drained > 0) {
        evbuffer_drain(input, drained);
        m_scanner.restart();
    }
    if (evbuffer_get_length(input) > kMaxUnfinishedBytes) {
        closeSoon("its message does not end");
    }
    makeRoom(heldBytes());
}

size_t SocketTransport::heldBytes() const {
    return evbuffer_get_length(bufferevent_get_input(m_connection.get())) +
           evbuffer_get_length(bufferevent_get_output(m_connection.get()));
}

// `held` is what a connection holds that has got more to hold: what is only a small part of the limit is not worth
// looking at all others for.
void SocketTransport::makeRoom(size_t held) {
    if (held < kMaxHeldBytes / kMaxConnections) {
        return;
    }
    SocketTransport* largest = nullptr;
    size_t sum = 0;
    for (RPCTransport* transport : all()) {
        auto* const connection = dynamic_cast<SocketTransport*>(transport);
        if (connection == nullptr || connection->m_isClosing) {
            continue;
        }
        sum += connection->heldBytes();
        if (largest == nullptr || connection->heldBytes() > largest->heldBytes()) {
            largest = connection;
        }
    }
    if (sum > kMaxHeldBytes) {
        largest->closeSoon("all connections hold too much together, and it most of it");
    }
}

void SocketTransport::receive(std::string_view text) {
    text = trim_message(text);
    logger_function(7, kModule, "Got message: %s\n", text_for_log(text).c_str());
    const std::string whole(text);
    const char* stopped_at = whole.c_str();
    const JsonPtr message = json_parse_foreign(whole, &stopped_at);
    if (message == nullptr) {
        logger_function(3, kModule, "JSON parse error: %s\n", text_for_log(stopped_at).c_str());
        return;
    }
    dataReceived(message.get());
}

void SocketTransport::sendData(const char* text) {
    px_assert(m_connection != nullptr, kPanicSource, kSendWithoutConnection);
    if (m_isClosing) {
        return;
    }
    std::string_view rest(text);
    if (!m_isOutputWaiting) {
        rest.remove_prefix(sendNow(rest));
    }
    if (!rest.empty()) {
        sendLater(rest);
    }
}

// What the socket takes at once, which is nearly always all: the loop's way of sending, by waiting until the socket is
// ready, is most of what a notification to many costs. Whatever goes wrong here, the loop will meet it as well.
size_t SocketTransport::sendNow(std::string_view text) const {
    const ssize_t sent = send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent > 0 ? static_cast<size_t>(sent) : 0;
}

void SocketTransport::sendLater(std::string_view text) {
    evbuffer* output = bufferevent_get_output(m_connection.get());
    const size_t waiting = evbuffer_get_length(output);
    // One text alone may be longer: its reader has had no time to read it.
    if (waiting > 0 && waiting + text.size() > kMaxWaitingBytes) {
        closeSoon("it does not read what it is sent");
        return;
    }
    m_isOutputWaiting = true;
    evbuffer_add(output, text.data(), text.size());
    makeRoom(heldBytes());
}

void SocketTransport::onWritten() {
    m_isOutputWaiting = false;
}

// On the next loop turn, by the road of any other end: whoever is sending at this moment still walks lists
// that the end of a connection changes.
void SocketTransport::closeSoon(const char* reason) {
    m_isClosing = true;
    logger_function(4, kModule, "Closing a connection: %s\n", reason);
    bufferevent_disable(m_connection.get(), EV_READ);
    // Now, not with the connection: one change may be too much for hundreds of them before the loop turns.
    evbuffer* input = bufferevent_get_input(m_connection.get());
    evbuffer_drain(input, evbuffer_get_length(input));
    drop_output(m_connection.get());
    bufferevent_trigger_event(m_connection.get(), BEV_EVENT_EOF, BEV_TRIG_DEFER_CALLBACKS);
}

void SocketTransport::onEvent(bufferevent*, short events) {
    logger_function(7, kModule, "onEvent()\n");
    if ((events & BEV_EVENT_ERROR) != 0) {
        perror("Error from bufferevent");
    }
    if ((events & (BEV_EVENT_EOF | BEV_EVENT_ERROR)) != 0) {
        logger_function(7, kModule, "BEV_EVENT_EOF | BEV_EVENT_ERROR");
    }
    destroy(this);
}

void SocketTransport::destroy(SocketTransport* transport) {
    RPCTransport::remove(transport);
    logger_function(7, kModule, "SocketTransport::destroy()");
    delete transport;
}
