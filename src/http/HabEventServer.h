#pragma once

#include <memory>
#include <unordered_map>

#include "src/base/owners.h"
#include "src/http/evhttp_hooks.h"

class HabRequest;
class HabRequestEvent;

// HabEventServer: the event base of the process and the HTTP server on it.
// Owns:      the event base, the HTTP server, and every request object that waits for the rest of its request.
// Threads:   the thread that calls run().
// Callbacks: requests are dispatched from inside dispatch_event().
// Errors:    a port that cannot be bound keeps run() logging for ever, see there.
class HabEventServer {
  public:
    // A negative port: no HTTP. Port 0: the kernel chooses one, see boundPort().
    explicit HabEventServer(int port);
    HabEventServer(const HabEventServer&) = delete;
    HabEventServer& operator=(const HabEventServer&) = delete;
    virtual ~HabEventServer();

    // Runs the event loop until it ends.
    virtual void dispatch_event();

    // Serves until the loop ends, then frees the event base: 0. -1: the HTTP server could not be created.
    // Never returns when the port cannot be bound.
    int run();

    // The listening descriptor, which the caller owns, or -1.
    static int bindSocket(int port);

    // Valid until run() returns.
    [[nodiscard]] event_base* getEventbase() const { return m_evbase.get(); }
    void setInstanceId(unsigned long id);
    // The TCP port that run() listens on, -1 before.
    [[nodiscard]] int boundPort() const { return m_boundPort; }
    [[nodiscard]] std::size_t cachedRequests() const { return requestCache.size(); }

    // Runs when the headers of a request have been read.
    void pre_handler(evhttp_request* req);
    // Runs for each piece of a streamed upload.
    static void chunk_handler(HabRequest* habReq);
    // Runs for every complete request.
    void generic_handler(evhttp_request* req);
    // Runs when the library lets go of a request.
    void request_gone(evhttp_request* req);
    // Closes connections that have not got a request finished within this time; runs every second.
    void sweep_idle(long max_age_ms);

  private:
    bool startHttp();
    void startStreaming(evhttp_request* req, HabRequestEvent& habReq);
    std::unique_ptr<HabRequestEvent> takeRequest(evhttp_request* req);

    EventBasePtr m_evbase;
    int m_port;
    std::unordered_map<evhttp_request*, std::unique_ptr<HabRequestEvent>> requestCache;
    unsigned long m_instanceId;
    char m_instanceIdText[10] = {};

    int m_boundPort = -1;
    COwned<evhttp, evhttp_hooks_free> m_http;
    EventPtr m_sweepTimer;
};

// Entry points for libevent.
void generic_handlerCb(evhttp_request* req, void* arg) noexcept;
void prehandlecb(evhttp_request* req, void* arg) noexcept;
void chunkedCb(evhttp_request* req, void* arg) noexcept;
void completeCb(evhttp_request* req, void* arg) noexcept;
