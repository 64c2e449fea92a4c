// SPDX-License-Identifier: MIT

// The push channels of HabEventServer.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include <event2/buffer.h>
#include <event2/http.h>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/base/scoped_locking.h"
#include "src/http/HabConfig.h"
#include "src/http/HabEventServer.h"
#include "src/http/HabRequestEvent.h"
#include "src/http/PushQuery.h"
#include "src/http/StatusCode.h"
#include "src/http/habhelper.h"
#include "src/http/http_reply.h"

namespace {

constexpr const char* kModule = "src/HabEventServer";
// The next event makes one more.
constexpr std::size_t kMaxStoredEvents = 100;
// 4294967295 and 0 are never given: fromId 0 asks for all events.
constexpr unsigned long kLastEventId = 4294967294UL;
constexpr std::string_view kLocalPeer = "127.0.0.1";

unsigned count(std::size_t size) {
    return static_cast<unsigned>(size);
}

const char* inputHeader(evhttp_request* req, const char* name) {
    return evhttp_find_header(evhttp_request_get_input_headers(req), name);
}

void logQuery(const PushQuery& query) {
    logger_function(6, kModule, "Request for %s, %s - channel: %s, fromId: %s",
                    text_for_log(query.path()).c_str(), text_for_log(query.query()).c_str(),
                    text_for_log(query.channel()).c_str(),
                    query.fromIdText() != nullptr ? text_for_log(query.fromIdText()).c_str() : "N/A");
}

// Null for data that is no JSON, or has too many values.
std::shared_ptr<const std::string> eventText(const char* data, unsigned long id) {
    const JsonPtr json(json_has_too_many_values(data) ? nullptr : cJSON_Parse(data));
    if (cJSON_IsObject(json.get())) {
        cJSON_AddNumberToObject(json.get(), "id", static_cast<double>(id));
    }
    const JsonText text(json ? cJSON_PrintUnformatted(json.get()) : nullptr);
    return text ? std::make_shared<const std::string>(text.get()) : nullptr;
}

// EventList: the body {"settings-update": [...]}, in which long texts are referred to and not copied: one publication may
// answer many clients with all that is stored. A short one costs less as a copy than as a piece of the body.
class EventList {
  public:
    EventList() : m_body(evbuffer_new()) { evbuffer_add_printf(m_body.get(), "{\"settings-update\":["); }

    // False for an event that is no JSON, which is left out.
    bool add(const HabEventServer::UpdateEvent& event) {
        if (event.text == nullptr) {
            return false;
        }
        if (m_count++ > 0) {
            evbuffer_add(m_body.get(), ",", 1);
        }
        if (event.text->size() <= kShortText) {
            evbuffer_add(m_body.get(), event.text->data(), event.text->size());
            return true;
        }
        auto* kept = new std::shared_ptr<const std::string>(event.text);
        evbuffer_add_reference(m_body.get(), event.text->data(), event.text->size(), release, kept);
        return true;
    }
    [[nodiscard]] bool isEmpty() const { return m_count == 0; }
    // Once.
    evbuffer* finish() {
        evbuffer_add(m_body.get(), "]}", 2);
        return m_body.get();
    }

  private:
    static constexpr std::size_t kShortText = 512;

    static void release(const void*, size_t, void* kept) noexcept {
        const std::unique_ptr<std::shared_ptr<const std::string>> owner(
            static_cast<std::shared_ptr<const std::string>*>(kept));
    }

    BufferPtr m_body;
    std::size_t m_count = 0;
};

void onClosed(evhttp_connection* conn, void* server) noexcept {
    static_cast<HabEventServer*>(server)->connection_closed_handler(conn);
}

bool refusePublish(evhttp_request* req, int code) {
    http_send_error(req, code, nullptr);
    return false;
}

// Answers whom publishing is not for.
bool mayPublish(evhttp_request* req) {
    const evhttp_cmd_type method = evhttp_request_get_command(req);
    if (method != EVHTTP_REQ_POST && method != EVHTTP_REQ_PUT) {
        logger_function(3, kModule, "Unsupported HTTP method");
        return refusePublish(req, StatusCode::kMethodNotAllowed);
    }
    const char* type = inputHeader(req, "Content-type");
    if (type == nullptr || std::strcmp(type, "application/json") != 0) {
        logger_function(3, kModule, "Unsupported MIME type '%s'", text_for_log(orEmpty(type)).c_str());
        return refusePublish(req, StatusCode::kUnsupportedMediaType);
    }
    // Nine characters and not a whole address: every address of the loopback that begins so may publish.
    if (!std::string_view(orEmpty(http_peer(req).host)).starts_with(kLocalPeer)) {
        logger_function(3, kModule, "Unauthorized publish request from non-local host ");
        return refusePublish(req, StatusCode::kForbidden);
    }
    return true;
}

}  // namespace

// The query is not read anew with a publication: as long as it may be, all who wait would stop the loop then.
HabEventServer::Waiting::Waiting(evhttp_request* req, const PushQuery& query,
                                 std::set<evhttp_request*>* waitsOn, HabEventServer* server)
    : request(req),
      fromId(query.fromId()),
      fromIdText(text_for_log(orEmpty(query.fromIdText()))),
      channel(waitsOn),
      poll(req, onClosed, server) {}

void HabEventServer::subscribe_handler(evhttp_request* req) {
    logger_function(6, kModule, "\n\nHabEventServer::subscribe_handler()");
    dropEarlyAnswer(req);
    // A body has no meaning here and would stay in memory as long as the request waits.
    evbuffer* body = evhttp_request_get_input_buffer(req);
    evbuffer_drain(body, evbuffer_get_length(body));
    http_add_header(req, "X-Server-instance", m_instanceIdText);
    if (refuse(req)) {
        return;
    }
    const PushQuery query(req);
    if (query.query() == nullptr) {
        // No answer at all: such a client waits until it gives up.
        wait(req, query, nullptr);
        return;
    }
    if (query.channel() == nullptr) {
        logBadRequest(m_noChannelLine, "without a channel", req);
        http_send_error(req, StatusCode::kBadRequest, nullptr);
        return;
    }
    logQuery(query);
    const std::string channel = query.channel();
    const bool isNew = !pendingRequests.contains(channel);
    openChannel(channel);
    if (!sendStored(req, pendingEvents[channel], query.fromId())) {
        waitOnChannel(req, query, isNew);
    }
}

// A POST may have been through the dispatcher before its body came: the page and the cookie that it got there are not
// for the answer that it gets here.
void HabEventServer::dropEarlyAnswer(evhttp_request* req) {
    requestCache.erase(req);
    evhttp_clear_headers(evhttp_request_get_output_headers(req));
}

// A channel stays for the life of the process, whoever has asked for it.
void HabEventServer::openChannel(const std::string& channel) {
    logger_function(6, kModule, "Pending events: %u, pending requests: %u",
                    count(pendingEvents[channel].size()), count(pendingRequests[channel].size()));
}

bool HabEventServer::sendStored(evhttp_request* req, const std::list<UpdateEvent>& events,
                                unsigned long fromId) {
    EventList newer;
    for (const UpdateEvent& event : events) {
        if (event.id > fromId) {
            newer.add(event);
        }
    }
    if (newer.isEmpty()) {
        return false;
    }
    logger_function(7, kModule, "Created answer for client - sending");
    http_add_header(req, "Content-Type", "application/json");
    http_send_reply(req, StatusCode::kOk, "OK", newer.finish());
    return true;
}

void HabEventServer::waitOnChannel(evhttp_request* req, const PushQuery& query, bool isNew) {
    logger_function(7, kModule, "No answer for client - set up for long poll");
    // Every channel ever asked for counts, this one included, and none is ever dropped: of the default 80 at most 79
    // can be waited on. Clients and operators know the limit so.
    const int maxChannels = HabConfig::getInstance()->getHttpPushMaxChannels();
    if (std::cmp_greater_equal(pendingRequests.size(), maxChannels)) {
        logger_function(3, kModule, "Too many push channels! Max: %d", maxChannels);
        if (isNew && std::cmp_greater(pendingRequests.size(), maxChannels)) {
            // The table was full without it; with the names of all refused clients it would grow without end.
            pendingRequests.erase(query.channel());
            pendingEvents.erase(query.channel());
        }
        http_send_error(req, StatusCode::kForbidden, nullptr);
        return;
    }
    std::set<evhttp_request*>& requests = pendingRequests[query.channel()];
    requests.insert(req);
    wait(req, query, &requests);
}

void HabEventServer::wait(evhttp_request* req, const PushQuery& query, std::set<evhttp_request*>* channel) {
    m_waiting.try_emplace(evhttp_request_get_connection(req), req, query, channel, this);
}

void HabEventServer::logWaiting(const evhttp_connection* closing) const {
    for (const auto& [channel, requests] : pendingRequests) {
        logger_function(7, kModule, "checking channel: %s, %u", text_for_log(channel).c_str(),
                        count(requests.size()));
        for (evhttp_request* req : requests) {
            // The library has taken the request off a connection that broke.
            const evhttp_connection* own = evhttp_request_get_connection(req);
            logger_function(7, kModule, "conn addr: %p",
                            static_cast<const void*>(own != nullptr ? own : closing));
        }
    }
}

void HabEventServer::connection_closed_handler(evhttp_connection* conn) {
    logger_function(7, kModule, "a connection was closed: %p", static_cast<void*>(conn));
    // Thousands of clients may leave at once: all the others are looked at for the log alone.
    if ((new_log_mask & log_mask(7)) != 0) {
        logWaiting(conn);
    }
    const auto waiting = m_waiting.extract(conn);
    if (waiting.empty()) {
        return;
    }
    evhttp_request* req = waiting.mapped().request;
    if (waiting.mapped().channel != nullptr) {
        waiting.mapped().channel->erase(req);
        logger_function(7, kModule, "removed closed connection from subscriber list");
    }
    // A request that the library has taken off its broken connection is ours, one that it still holds is its own.
    if (evhttp_request_get_connection(req) == nullptr) {
        evhttp_request_free(req);
    }
}

void HabEventServer::publish_handler(evhttp_request* req) {
    logger_function(6, kModule, "HabEventServer::publish_handler()");
    dropEarlyAnswer(req);
    if (refuse(req)) {
        return;
    }
    {
        const concurrency::scoped_mutex lock(m_lock);
        if (!handlePublish(req)) {
            return;
        }
    }
    logger_function(7, kModule, "Done handling request, sent to noone\n");
    http_send_reply(req, StatusCode::kOk, "OK", nullptr);
}

// False when the publisher has been answered with an error.
bool HabEventServer::handlePublish(evhttp_request* req) {
    if (!mayPublish(req)) {
        return false;
    }
    const PushQuery query(req);
    if (query.query() == nullptr) {
        return true;
    }
    if (query.channel() == nullptr) {
        logBadRequest(m_noChannelLine, "without a channel", req);
        return refusePublish(req, StatusCode::kBadRequest);
    }
    logQuery(query);
    const std::string channel = query.channel();
    openChannel(channel);
    pruneEvents();
    if (!storeEvent(req, channel)) {
        // The code with this text, not with its own phrase: publishers in the field know the pair.
        http_send_error(req, StatusCode::kServiceUnavailable, "Internal Server Error");
        return false;
    }
    answerWaiting(req, channel);
    return true;
}

void HabEventServer::pruneEvents() {
    for (auto& [channel, events] : pendingEvents) {
        while (events.size() > kMaxStoredEvents) {
            events.pop_front();
            logger_function(7, kModule, "Deleting old event entry");
        }
    }
}

// False without a body; the event id is used up all the same.
bool HabEventServer::storeEvent(evhttp_request* req, const std::string& channel) {
    const char* etag = inputHeader(req, "Etag");
    const unsigned long id = nextEventId;
    nextEventId = id == kLastEventId ? 1 : id + 1;
    evbuffer* body = evhttp_request_get_input_buffer(req);
    const std::size_t length = evbuffer_get_length(body);
    if (length == 0) {
        return false;
    }
    MallocedText data(static_cast<char*>(std::calloc(length + 1, 1)));
    ORVALE_ASSERT(data != nullptr, "data != __null", kModule, __PRETTY_FUNCTION__);
    evbuffer_remove(body, data.get(), length);
    std::shared_ptr<const std::string> text = eventText(data.get(), id);
    utilities::DateTime now;
    now.getDateAndTime();
    std::list<UpdateEvent>& events = pendingEvents[channel];
    events.push_back({now, orEmpty(etag), static_cast<int>(length), std::move(data), id, std::move(text)});
    logger_function(7, kModule, "New event, timestamp: %s", now.timestamp().c_str());
    ORVALE_ASSERT(!events.empty(), "pendingEvents[channel].size() > 0", kModule, __PRETTY_FUNCTION__);
    return true;
}

void HabEventServer::answerWaiting(evhttp_request* publisher, const std::string& channel) {
    std::set<evhttp_request*>& waiting = pendingRequests[channel];
    logger_function(7, kModule, "%u pending requests", count(waiting.size()));
    while (!waiting.empty()) {
        logger_function(7, kModule, "%u pending events", count(pendingEvents.size()));
        answerWithEvents(waiting.extract(waiting.begin()).value(), publisher, pendingEvents[channel]);
    }
}

void HabEventServer::answerWithEvents(evhttp_request* req, evhttp_request* publisher,
                                      const std::list<UpdateEvent>& events) {
    logger_function(7, kModule, "Handling stored events");
    const char* etag = events.front().etag.c_str();
    logger_function(7, kModule, "insertIter start: (%s)", etag);
    Waiting& waiting = m_waiting.find(evhttp_request_get_connection(req))->second;
    logger_function(7, kModule, "Pending request strFromId=%s > FromId=%lu", waiting.fromIdText.c_str(),
                    waiting.fromId);
    EventList newer;
    for (const UpdateEvent& event : events) {
        if (event.id > waiting.fromId && newer.add(event)) {
            etag = event.etag.c_str();
            logger_function(7, kModule, "added id=%d, %s", static_cast<int>(event.id), etag);
        }
    }
    http_add_header(req, "Content-type", inputHeader(publisher, "Content-type"));
    http_add_header(req, "Etag", *etag != '\0' ? etag : nullptr);
    http_add_header(req, "Last-Modified", inputHeader(publisher, "Last-Modified"));
    waiting.poll.resume();
    m_waiting.erase(evhttp_request_get_connection(req));
    logger_function(7, kModule, "Request in set - sending reply to %s", orEmpty(http_peer(req).host));
    http_send_chunked_reply(req, StatusCode::kOk, "OK", newer.finish());
}
