// SPDX-License-Identifier: MIT

#pragma once

#include <event2/bufferevent.h>
#include <event2/listener.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "src/base/ConnectionLimit.h"
#include "src/base/OncePerMinute.h"
#include "src/base/owners.h"
#include "src/rpc/MessageScanner.h"
#include "src/rpc/RPCTransport.h"

using BuffereventPtr = COwned<bufferevent, bufferevent_free>;
using ListenerPtr = COwned<evconnlistener, evconnlistener_free>;

// SocketTransport: JSON-RPC over a Unix stream socket. One object listens, each accepted connection is one more.
// Owns:      the listening object its listener; a connection its bufferevent, and with it the descriptor.
//            Connections belong to themselves: they live until the peer ends, fails or overdoes it.
// Borrows:   the server and the event base, which outlive all transports.
// Threads:   loop thread only.
// Callbacks: a connection is announced by RPCTransport::add() when it is accepted and by RPCTransport::remove()
//            before it goes, both from the loop.
// Errors:    a message that is not JSON is logged and dropped. A connection is closed on the next loop turn,
//            with one log line, when more than kMaxUnfinishedBytes of one message have come in, or when more
//            than kMaxWaitingBytes would wait for a peer that does not read. While all connections together hold
//            more than kMaxHeldBytes of both, the one that holds most is. What it holds goes at once. A connection
//            above the limit is closed at once; a log line a minute names the processes with most of the others.
class SocketTransport : public RPCTransport {
  public:
    static constexpr size_t kMaxUnfinishedBytes = 16U << 20;
    static constexpr size_t kMaxWaitingBytes = 16U << 20;
    static constexpr size_t kMaxHeldBytes = 64U << 20;
    static constexpr size_t kMaxConnections = 256;

    // The object that listens.
    SocketTransport(RPCServer* server, event_base* base);
    // How many connections may be open, from the next one on.
    void limitConnections(size_t max);
    // One connection; takes the bufferevent over.
    SocketTransport(RPCServer* server, event_base* base, bufferevent* connection);

    // The event base of all transports.
    void init(RPCServer* server, event_base* base);
    // Listens on `path`, replacing whatever lies there. False, with the reason printed or logged, when it
    // cannot: a path that is empty or longer than a socket address holds is refused.
    bool listen(const char* path);
    // Writes to a connection; once the connection is being closed the text is dropped. Calling this on the
    // listening object is a programming error that stops the process.
    void sendData(const char* text) override;
    // What has come in and is not handled yet, and what waits for the peer. Not of the listening object.
    [[nodiscard]] size_t heldBytes() const;

    // What the loop calls.
    void onAccept(evconnlistener* listener, int fd, sockaddr* peer, int peer_size);
    void onRead(bufferevent* connection);
    void onWritten();
    void onEvent(bufferevent* connection, short events);
    // Accepting pauses for kAcceptPauseMs. Without descriptors or memory that is all, with one log line a minute; any
    // other error asks the loop to end as well. (The daemon's own begins again at once.)
    void onError(evconnlistener* listener);
    // Removes the transport and deletes it.
    static void destroy(SocketTransport* transport);

  private:
    static constexpr int kAcceptPauseMs = 500;

    static std::vector<std::string> peers();
    void receive(std::string_view text);
    size_t sendNow(std::string_view text) const;
    void sendLater(std::string_view text);
    static void makeRoom(size_t held);
    void closeSoon(const char* reason);
    void pauseAccepting();

    static event_base* m_eventbase;

    // What a text needs that the socket takes at once stands together, and of the bufferevent it needs nothing: with
    // a thousand connections each further line of memory is one that the cache does not hold.
    int m_descriptor = -1;  // of m_connection, which owns it
    bool m_isClosing = false;
    bool m_isOutputWaiting = false;
    BuffereventPtr m_connection;
    MessageScanner m_scanner;
    // Only the listening object has these four; the timer refers to the listener and goes before it.
    std::unique_ptr<ConnectionLimit> m_limit;
    OncePerMinute m_pauseLine;
    ListenerPtr m_listener;
    EventPtr m_resumeAccepting;
};
