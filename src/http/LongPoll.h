// SPDX-License-Identifier: MIT

#pragma once

struct bufferevent;
struct evbuffer_cb_entry;
struct evhttp_connection;
struct evhttp_request;

// LongPoll: a complete request that waits for its answer while its connection is watched. The library stops reading
// from a connection whose request is being answered, and so would not see that the client leaves.
// A client has left when it closes or resets the connection or ends its side of it, when it answers no probe of the
// kernel's for about two minutes, and when it sends more than 64 KiB while it waits, which is not read any further.
// There is no time limit: evhttp_hooks has taken the library's away when the request was complete.
// Borrows:   request and connection, which outlive this object: it is destroyed inside `closed` at the latest.
// Threads:   loop thread only.
// Callbacks: `closed` runs at most once, and not after resume().
class LongPoll {
  public:
    using ClosedCb = void (*)(evhttp_connection* conn, void* arg);

    LongPoll(evhttp_request* req, ClosedCb closed, void* arg);
    LongPoll(const LongPoll&) = delete;
    LongPoll& operator=(const LongPoll&) = delete;
    ~LongPoll();

    // The connection that the request came by, also when the library has taken the request away from it.
    [[nodiscard]] evhttp_connection* connection() const { return m_connection; }

    // Puts the connection back as it was, so that the answer can be sent.
    void resume();

  private:
    void watchCallbacks();
    void watchInput();

    evhttp_connection* m_connection;
    bufferevent* m_stream;
    evbuffer_cb_entry* m_inputWatch = nullptr;

    // What the library had set, for resume().
    void (*m_readCb)(bufferevent*, void*) = nullptr;
    void (*m_writeCb)(bufferevent*, void*) = nullptr;
    void (*m_eventCb)(bufferevent*, short, void*) = nullptr;
    void* m_cbArg = nullptr;
};
