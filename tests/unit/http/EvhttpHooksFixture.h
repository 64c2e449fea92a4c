// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <event2/buffer.h>
#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/http_struct.h>
#include <sys/socket.h>

#include "HttpFixture.h"
#include "src/http/evhttp_hooks.h"

inline constexpr const char* kGet = "GET /a HTTP/1.1\r\nHost: x\r\n\r\n";
inline constexpr const char* kPostHeaders = "POST /a HTTP/1.1\r\nHost: x\r\nContent-Length: 6\r\n\r\n";
inline constexpr const char* kChunkedHeaders =
    "POST /a HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";

// A server with hooks that note what happens, in the order in which it happens.
class EvhttpHooks : public HttpFixture {
  protected:
    EvhttpHooks() {
        evhttp_set_max_body_size(m_http.get(), 100);
        evhttp_set_prehandle_cb(m_http.get(), onHeaders, this);
        evhttp_hooks_set_gone_cb(m_http.get(), onGone, this);
        onRequest = [this](evhttp_request* req) {
            m_events.emplace_back("request " + TakeBody(req));
            m_wasComplete = evhttp_hooks_is_complete(req);
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
    }
    ~EvhttpHooks() override { FreeServer(); }

    void FreeServer() { evhttp_hooks_free(m_http.release()); }

    static std::string TakeBody(evhttp_request* req) {
        evbuffer* input = evhttp_request_get_input_buffer(req);
        std::string body(evbuffer_get_length(input), '\0');
        evbuffer_remove(input, body.data(), body.size());
        return body;
    }

    // Turns the loop until `count` events have been noted.
    bool SeesEvents(std::size_t count) {
        return pump_until(m_base.get(), [&] { return m_events.size() >= count; });
    }

    void LimitConnections(std::size_t max) {
        const auto onRefused = [](evhttp_request*, void* arg) {
            ++static_cast<EvhttpHooks*>(arg)->m_refused;
        };
        evhttp_hooks_set_max_connections(m_http.get(), max, onRefused, this);
    }

    // As small as they can be.
    static std::string Headers(int count) {
        std::string headers;
        for (int i = 0; i < count; ++i) {
            headers += "a:\n";
        }
        return headers;
    }

    // A PUT of `length` bytes, of which the first `sent` go out and arrive.
    void BeginPut(RawHttpClient& client, std::size_t length, std::size_t sent) {
        client.send("PUT /a HTTP/1.1\r\nContent-Length: " + std::to_string(length) + "\r\n\r\n" +
                    std::string(sent, 'x'));
        client.pending();
    }

    // Sends a body of 50 chunks of one byte, each by itself, behind the headers of a request: the number of blocks that
    // it is in when it is complete.
    int BlocksOfTinyChunks(const std::string& headers) {
        int blocks = 0;
        onRequest = [&blocks](evhttp_request* req) {
            blocks = evbuffer_peek(evhttp_request_get_input_buffer(req), -1, nullptr, nullptr, 0);
            EXPECT_EQ(TakeBody(req), std::string(50, 'x'));
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
        RawHttpClient client = connect();
        client.send(headers);
        SeesEvents(1);
        for (int i = 0; i < 50; ++i) {
            client.send("1\r\nx");
            TurnFor(std::chrono::milliseconds(2));
            client.send("\r\n");
        }
        client.exchange("0\r\n\r\n");
        return blocks;
    }

    void TurnFor(std::chrono::milliseconds time) {
        const auto end = std::chrono::steady_clock::now() + time;
        pump_until(m_base.get(), [end] { return std::chrono::steady_clock::now() >= end; });
    }

    // More than the sockets' buffers take.
    static constexpr std::size_t kLargeAnswer = 16UL * 1024 * 1024;
    static void SendLargeAnswer(evhttp_request* req) {
        const std::string large(kLargeAnswer, 'x');
        const BufferPtr body(evbuffer_new());
        evbuffer_add(body.get(), large.data(), large.size());
        evhttp_send_reply(req, 200, "OK", body.get());
    }

    static void HoldLargeAnswer(evhttp_request* req) {
        evhttp_hooks_hold_answer(req, kLargeAnswer);
        SendLargeAnswer(req);
    }

    // A client that does not read its large answer, on a server that may hold little more.
    RawHttpClient ClientThatDoesNotRead() {
        evhttp_hooks_set_max_held(m_http.get(), kLargeAnswer + 100000);
        onRequest = HoldLargeAnswer;
        RawHttpClient client = connect();
        client.send(kGet);
        SeesEvents(1);
        return client;
    }

    // Whether the server stops reading from the connection of the request whose headers came last.
    bool StopsReading() {
        return StopsReadingFrom(evhttp_connection_get_bufferevent(evhttp_request_get_connection(m_request)));
    }
    bool StopsReadingFrom(bufferevent* connection) {
        return pump_until(m_base.get(),
                          [connection] { return (bufferevent_get_enabled(connection) & EV_READ) == 0; });
    }

    // From now on the socket takes nothing, until its client reads.
    static void FillSendBuffer(int socket) {
        const std::string bytes(100000, 'x');
        for (const std::size_t size : {bytes.size(), std::size_t{1}}) {
            while (send(socket, bytes.data(), size, MSG_DONTWAIT | MSG_NOSIGNAL) > 0) {
            }
        }
    }

    static void onHeaders(evhttp_request* req, void* arg) {
        auto* self = static_cast<EvhttpHooks*>(arg);
        self->m_events.emplace_back("headers");
        self->m_request = req;
        self->m_wasComplete = evhttp_hooks_is_complete(req);
        const auto limit = [](const timeval& time) { return timerisset(&time) ? &time : nullptr; };
        if (timerisset(&self->m_readLimit) || timerisset(&self->m_writeLimit)) {
            bufferevent* connection = evhttp_connection_get_bufferevent(evhttp_request_get_connection(req));
            bufferevent_set_timeouts(connection, limit(self->m_readLimit), limit(self->m_writeLimit));
        }
        if (self->m_streams) {
            evhttp_request_set_chunked_cb(req, onPiece);
            evhttp_set_cb_arg(req, self);
        }
    }
    static void onPiece(evhttp_request* req, void* arg) {
        auto* self = static_cast<EvhttpHooks*>(arg);
        self->m_events.emplace_back("piece " + TakeBody(req));
        self->onPieceTaken(req);
    }
    static void onGone(evhttp_request*, void* arg) {
        static_cast<EvhttpHooks*>(arg)->m_events.emplace_back("gone");
    }

    using Events = std::vector<std::string>;
    Events m_events;
    evhttp_request* m_request = nullptr;
    bool m_wasComplete = false;
    bool m_streams = false;
    int m_refused = 0;
    // Of a connection, from its request's headers on; neither set: the server's.
    timeval m_readLimit{};
    timeval m_writeLimit{};
    std::function<void(evhttp_request*)> onPieceTaken = [](evhttp_request*) {};
};
