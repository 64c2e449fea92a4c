// SPDX-License-Identifier: MIT

#pragma once

#include <pthread.h>

#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <unordered_map>

#include "src/base/ConnectionLimit.h"
#include "src/base/OncePerMinute.h"
#include "src/base/date_time.h"
#include "src/base/owners.h"
#include "src/http/LongPoll.h"
#include "src/http/evhttp_hooks.h"

class HabRequest;
class HabRequestEvent;
class PushQuery;

// HabEventServer: the event base of the process and the HTTP server on it, with the push channels "/activity" and
// "/publish"; every other path goes to the dispatcher.
// Owns:      the event base, the HTTP server, every request object that waits for the rest of its request, the
//            stored push events (at most 101 a channel) and the channels, which stay for the life of the process.
// Threads:   the thread that calls run(). Other threads publish by HTTP.
// Callbacks: requests are dispatched from inside dispatch_event().
// Errors:    a port that cannot be bound keeps run() logging for ever, see there.
class HabEventServer {
  public:
    static constexpr std::size_t kMaxConnections = 512;
    static constexpr long kMaxIncompleteMs = 60 * 1000;

    // A negative port: no HTTP. Port 0: the kernel chooses one, see boundPort(). Connections whose request is not
    // complete after maxIncompleteMs are closed within a second.
    explicit HabEventServer(int port, std::size_t maxConnections = kMaxConnections,
                            long maxIncompleteMs = kMaxIncompleteMs);

    // A published event.
    struct UpdateEvent {
        utilities::DateTime timestamp;  // wall clock
        std::string etag;
        int length;         // of data, in bytes
        MallocedText data;  // as published, with a terminator
        unsigned long id;
        // What subscribers get: the JSON with its id, printed once for all of them; null when it is none.
        std::shared_ptr<const std::string> text;
    };

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
    // Answers "/activity" with the stored events of a channel, or lets the request wait for the next one.
    void subscribe_handler(evhttp_request* req);
    // Stores what was sent to "/publish" and answers the requests that wait on its channel.
    void publish_handler(evhttp_request* req);
    // Forgets the request that waits on this connection.
    void connection_closed_handler(evhttp_connection* conn);
    [[nodiscard]] std::size_t channels() const { return pendingRequests.size(); }
    // The requests that wait for an event, or for nothing (see subscribe_handler).
    [[nodiscard]] std::size_t waitingRequests() const { return m_waiting.size(); }

    void setNextEventId(unsigned long id) { nextEventId = id; }

    // Runs when the library lets go of a request.
    void request_gone(evhttp_request* req);
    // Runs for each connection that is closed at once because as many as may be are open.
    void connection_refused();
    // Closes connections that have not got a request finished within this time.
    void sweep_idle(long max_age_ms);
    // Closes those that have had their time; runs every second.
    void sweep_idle() { sweep_idle(m_maxIncompleteMs); }

  private:
    bool startHttp();
    bool refuse(evhttp_request* req);
    static void logBadRequest(OncePerMinute& line, const char* what, evhttp_request* req);
    void dropEarlyAnswer(evhttp_request* req);
    void startStreaming(evhttp_request* req, HabRequestEvent& habReq);
    void openChannel(const std::string& channel);
    static bool sendStored(evhttp_request* req, const std::list<UpdateEvent>& events, unsigned long fromId);
    void waitOnChannel(evhttp_request* req, const PushQuery& query, bool isNew);
    void wait(evhttp_request* req, const PushQuery& query, std::set<evhttp_request*>* channel);
    void logWaiting(const evhttp_connection* closing) const;
    bool handlePublish(evhttp_request* req);
    void pruneEvents();
    bool storeEvent(evhttp_request* req, const std::string& channel);
    void answerWaiting(evhttp_request* publisher, const std::string& channel);
    void answerWithEvents(evhttp_request* req, evhttp_request* publisher,
                          const std::list<UpdateEvent>& events);
    std::unique_ptr<HabRequestEvent> takeRequest(evhttp_request* req);

    EventBasePtr m_evbase;
    int m_port;
    std::map<std::string, std::set<evhttp_request*>> pendingRequests;
    std::unordered_map<evhttp_request*, std::unique_ptr<HabRequestEvent>> requestCache;
    std::map<std::string, std::list<UpdateEvent>> pendingEvents;
    unsigned long nextEventId = 1;
    unsigned long m_instanceId;
    char m_instanceIdText[10] = {};
    pthread_mutex_t m_lock;

    // A waiting request, what it asked for and the set of its channel, null without one.
    struct Waiting {
        Waiting(evhttp_request* req, const PushQuery& query, std::set<evhttp_request*>* waitsOn,
                HabEventServer* server);
        evhttp_request* request;
        unsigned long fromId;
        std::string fromIdText;  // for the log
        std::set<evhttp_request*>* channel;
        LongPoll poll;
    };
    std::unordered_map<evhttp_connection*, Waiting> m_waiting;
    OncePerMinute m_inDoubtLine;
    OncePerMinute m_noPathLine;
    OncePerMinute m_noChannelLine;
    int m_boundPort = -1;
    ConnectionLimit m_limit;
    long m_maxIncompleteMs;
    COwned<evhttp, evhttp_hooks_free> m_http;
    EventPtr m_sweepTimer;
};

// Entry points for libevent.
void generic_handlerCb(evhttp_request* req, void* arg) noexcept;
void prehandlecb(evhttp_request* req, void* arg) noexcept;
void chunkedCb(evhttp_request* req, void* arg) noexcept;
void subscribe_handlerCb(evhttp_request* req, void* arg) noexcept;
void publish_handlerCb(evhttp_request* req, void* arg) noexcept;
void completeCb(evhttp_request* req, void* arg) noexcept;
