// SPDX-License-Identifier: MIT

#include "src/http/HabEventServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <event2/event_compat.h>
#include <event2/http.h>
#include <event2/listener.h>
#include <event2/thread.h>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/printable_text.h"
#include "src/http/AccessMap.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabHandler.h"
#include "src/http/HabRequestEvent.h"
#include "src/http/HabSession.h"
#include "src/http/http_framing.h"
#include "src/http/http_reply.h"

namespace {

constexpr const char* kModule = "src/HabEventServer";
constexpr int kBacklog = 10240;
constexpr long kMaxHeaderBytes = 64L * 1024;
constexpr std::size_t kMaxHeldBytes = std::size_t{64} * 1024 * 1024;  // of all bodies and answers
constexpr int kTimeoutSeconds = 60;
constexpr timeval kSweepInterval = {1, 0};
constexpr timeval kAcceptPause = {0, 500000};

#define HAB_ASSERT(condition, expression) ORVALE_ASSERT(condition, expression, kModule, __PRETTY_FUNCTION__)

const char* uriText(evhttp_request* req) {
    const char* uri = evhttp_request_get_uri(req);
    return uri != nullptr ? uri : "(null)";
}

bool isServable(evhttp_request* req) {
    return http_framing_is_clear(req) && HabRequestEvent::isServable(req);
}

bool mayStream(HabRequest& request) {
    return request.getSession() != nullptr &&
           request.getSession()->getAccessLevel() >=
               AccessMap::getInstance()->getAccessLevel(request.getURI(), request.getMethod());
}

int portOf(int listener) {
    sockaddr_in address{};
    socklen_t size = sizeof(address);
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

// The bind is not tried again: a second server on the port is a mistake that an operator has to see, and the
// process stays alive to be found in the process list and in the log.
[[noreturn]] void complainForEver() {
    for (;;) {
        logger_function(3, kModule, "libevent - could not create HTTP server!");
        logger_function(3, kModule, "libevent - trying again in 5 secs");
        sleep(5);
    }
}

void onGone(evhttp_request* req, void* arg) noexcept {
    static_cast<HabEventServer*>(arg)->request_gone(req);
}

void onRefused(evhttp_request*, void* arg) noexcept {
    static_cast<HabEventServer*>(arg)->connection_refused();
}

void onAcceptAgain(evutil_socket_t, short, void* listener) noexcept {
    evconnlistener_enable(static_cast<evconnlistener*>(listener));
}

// Out of descriptors, mostly. The client that waits to be accepted keeps the listener readable: without a pause the
// loop would spin, and fill the log, until somebody else leaves. The loop does not turn between the end of the
// listener and its own, so that the second call never comes too late.
void onAcceptError(evconnlistener* listener, void*) noexcept {
    static OncePerMinute line;  // of the process, as its descriptors are
    if (line.take() > 0) {
        logger_function(3, kModule, "Cannot accept a connection: %s", std::strerror(errno));
    }
    // Without memory for the end of a pause there is none: a server that spins is better than one that is deaf.
    if (event_base_once(evconnlistener_get_base(listener), -1, EV_TIMEOUT, onAcceptAgain, listener,
                        &kAcceptPause) == 0) {
        evconnlistener_disable(listener);
    }
}

void onSweep(evutil_socket_t, short, void* arg) noexcept {
    static_cast<HabEventServer*>(arg)->sweep_idle();
}

}  // namespace

HabEventServer::HabEventServer(int port, std::size_t maxConnections, long maxIncompleteMs)
    : m_port(port),
      m_instanceId(static_cast<unsigned long>(random())),
      m_limit(kModule, maxConnections),
      m_maxIncompleteMs(maxIncompleteMs) {
    HAB_ASSERT(pthread_mutex_init(&m_lock, nullptr) == 0, "pthread_mutex_init(&m_lock, __null) == 0");
    evthread_use_pthreads();
    m_evbase.reset(event_init());
}

HabEventServer::~HabEventServer() {
    m_http.reset();
    pthread_mutex_destroy(&m_lock);
}

void HabEventServer::dispatch_event() {
    event_base_dispatch(m_evbase.get());
}

void HabEventServer::setInstanceId(unsigned long id) {
    m_instanceId = id;
    // Clients know ids of at most nine characters: the last digit of a longer one is cut off.
    std::snprintf(m_instanceIdText, sizeof(m_instanceIdText), "0x%lx", m_instanceId);
}

int HabEventServer::run() {
    logger_function(6, kModule, "libevent - starting server");
    std::signal(SIGPIPE, SIG_IGN);
    if (m_port < 0) {
        logger_function(6, kModule, "HTTP disabled");
    } else if (!startHttp()) {
        return -1;
    }
    dispatch_event();
    m_sweepTimer.reset();
    m_http.reset();
    m_evbase.reset();
    return 0;
}

// A socket that has got its port and then fails is left open on purpose: it keeps the port, so that nothing else
// answers there in this daemon's place while run() complains.
int HabEventServer::bindSocket(int port) {
    if (port > 65535) {
        return -1;
    }
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    address.sin_port = htons(static_cast<uint16_t>(port));
    // Connections inherit that no piece of an answer waits until the client has acknowledged the one before.
    if (fd < 0 || setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof(on)) != 0 ||
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on)) != 0 ||
        bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, kBacklog) != 0 || fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK) != 0) {
        return -1;
    }
    return fd;
}

bool HabEventServer::startHttp() {
    UniqueFd listener(bindSocket(m_port));
    if (!listener.valid()) {
        complainForEver();
    }
    m_http.reset(evhttp_new(m_evbase.get()));
    evhttp_bound_socket* bound =
        m_http ? evhttp_accept_socket_with_handle(m_http.get(), listener.get()) : nullptr;
    if (bound == nullptr) {
        return false;
    }
    evconnlistener_set_error_cb(evhttp_bound_socket_get_listener(bound), onAcceptError);
    m_boundPort = portOf(listener.release());
    evhttp_set_max_headers_size(m_http.get(), kMaxHeaderBytes);
    evhttp_set_max_body_size(m_http.get(), kMaxBodyBytes);
    evhttp_set_timeout(m_http.get(), kTimeoutSeconds);
    evhttp_set_cb(m_http.get(), "/activity", subscribe_handlerCb, this);
    evhttp_set_cb(m_http.get(), "/publish", publish_handlerCb, this);
    evhttp_set_gencb(m_http.get(), generic_handlerCb, this);
    evhttp_set_prehandle_cb(m_http.get(), prehandlecb, this);
    evhttp_hooks_set_gone_cb(m_http.get(), onGone, this);
    evhttp_hooks_set_max_connections(m_http.get(), m_limit.max(), onRefused, this);
    evhttp_hooks_set_max_held(m_http.get(), kMaxHeldBytes);
    m_sweepTimer.reset(event_new(m_evbase.get(), -1, EV_PERSIST, onSweep, this));
    return m_sweepTimer && event_add(m_sweepTimer.get(), &kSweepInterval) == 0;
}

void HabEventServer::pre_handler(evhttp_request* req) {
    if (req == nullptr) {
        logger_function(3, kModule, "pre_handler() Request is null!");
        return;
    }
    const char* uri = uriText(req);
    logger_function(7, kModule, "pre_handler() Request for %s", text_for_log(uri).c_str());
    if (std::strncmp(uri, "/publish", std::strlen("/publish")) == 0) {
        logger_function(7, kModule, "pre_handler() URI is a /publish handler");
        return;
    }
    if (evhttp_request_get_command(req) != EVHTTP_REQ_POST || !isServable(req)) {
        return;
    }
    std::unique_ptr<HabRequestEvent> habReq(new (std::nothrow) HabRequestEvent(req));
    HAB_ASSERT(habReq != nullptr, "habReq != __null");
    // A refusal goes out when the body has been read: the client may still be sending it.
    habReq->holdAnswers();
    HabDispatcher::setHandler(habReq.get());
    startStreaming(req, *habReq);
    if (habReq->isDiscarded()) {
        logger_function(7, kModule, "Deleting habReq");
        return;
    }
    logger_function(7, kModule, "Saving HabRequest in cache");
    requestCache[req] = std::move(habReq);
}

void HabEventServer::startStreaming(evhttp_request* req, HabRequestEvent& habReq) {
    HabHandler* handler = habReq.getHandler();
    if (handler == nullptr || !handler->isStreaming(&habReq) || !mayStream(habReq)) {
        return;
    }
    logger_function(7, kModule, "Calling streaming handler");
    if (handler->handleChunk(&habReq, habReq.getChunkCtx()) > 0) {
        logger_function(7, kModule, "Setting up for streaming receive");
        evhttp_set_cb_arg(req, &habReq);
        evhttp_request_set_chunked_cb(req, chunkedCb);
    }
}

void HabEventServer::chunk_handler(HabRequest* habReq) {
    logger_function(7, kModule, " HabEventServer::chunk_handler() called");
    HabHandler* handler = habReq->getHandler();
    if (handler == nullptr || !handler->streamingFlag() || !mayStream(*habReq)) {
        return;
    }
    handler->handleChunk(habReq, habReq->getChunkCtx());
}

void HabEventServer::generic_handler(evhttp_request* req) {
    logger_function(7, kModule, "generic_handler() Request for %s", text_for_log(uriText(req)).c_str());
    http_add_header(req, "X-Server-instance", m_instanceIdText);
    if (refuse(req)) {
        return;
    }
    const std::unique_ptr<HabRequestEvent> habReq = takeRequest(req);
    // A request refused by its headers has had its session, its cookie and its answer then; to dispatch it again
    // would make a second session and a second cookie.
    if (!habReq->releaseAnswer()) {
        HabDispatcher::dispatchRequest(habReq.get());
    }
}

bool HabEventServer::refuse(evhttp_request* req) {
    if (isServable(req)) {
        return false;
    }
    if (http_framing_is_clear(req)) {
        logBadRequest(m_noPathLine, "without a path", req);
    } else {
        logBadRequest(m_inDoubtLine, "whose end is in doubt", req);
        // What follows may be the body of this request and not the next one.
        http_add_header(req, "Connection", "close");
    }
    http_send_error(req, StatusCode::kBadRequest, nullptr);
    return true;
}

// Any client can send such requests, as fast as it likes.
void HabEventServer::logBadRequest(OncePerMinute& line, const char* what, evhttp_request* req) {
    if (const unsigned long count = line.take(); count > 0) {
        logger_function(3, kModule, "%lu requests %s, the last for %s", count, what,
                        text_for_log(uriText(req)).c_str());
    }
}

// The object leaves the cache before it is used: an answer to a client that has gone frees the library's request
// at once, and the cache would delete the object that is being worked with.
std::unique_ptr<HabRequestEvent> HabEventServer::takeRequest(evhttp_request* req) {
    auto cached = requestCache.extract(req);
    if (!cached.empty()) {
        logger_function(7, kModule, "Reusing HabRequest from cache");
        return std::move(cached.mapped());
    }
    logger_function(7, kModule, "No HabRequest in cache - creating new");
    return std::make_unique<HabRequestEvent>(req);
}

void HabEventServer::request_gone(evhttp_request* req) {
    requestCache.erase(req);
}

void HabEventServer::connection_refused() {
    m_limit.refused([this] { return evhttp_hooks_peers(m_http.get()); });
}

void HabEventServer::sweep_idle(long max_age_ms) {
    evhttp_hooks_close_stale(m_http.get(), max_age_ms);
}

void generic_handlerCb(evhttp_request* req, void* arg) noexcept {
    HAB_ASSERT(arg != nullptr, "arg != __null");
    HAB_ASSERT(req != nullptr, "req != __null");
    static_cast<HabEventServer*>(arg)->generic_handler(req);
}

void prehandlecb(evhttp_request* req, void* arg) noexcept {
    HAB_ASSERT(arg != nullptr, "arg != __null");
    HAB_ASSERT(req != nullptr, "req != __null");
    static_cast<HabEventServer*>(arg)->pre_handler(req);
}

void chunkedCb(evhttp_request* req, void* arg) noexcept {
    logger_function(7, kModule, "chunkedCb");
    auto* habReq = static_cast<HabRequestEvent*>(arg);
    HAB_ASSERT(req != nullptr, "req != __null");
    HAB_ASSERT(habReq != nullptr, "habReq != __null");
    HabEventServer::chunk_handler(habReq);
}

void subscribe_handlerCb(evhttp_request* req, void* arg) noexcept {
    HAB_ASSERT(arg != nullptr, "arg != __null");
    HAB_ASSERT(req != nullptr, "req != __null");
    static_cast<HabEventServer*>(arg)->subscribe_handler(req);
}

void publish_handlerCb(evhttp_request* req, void* arg) noexcept {
    HAB_ASSERT(arg != nullptr, "arg != __null");
    HAB_ASSERT(req != nullptr, "req != __null");
    static_cast<HabEventServer*>(arg)->publish_handler(req);
}

void completeCb(evhttp_request* /*req*/, void* /*arg*/) noexcept {
    logger_function(7, kModule, "completeCb()");
}
