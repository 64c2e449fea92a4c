// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <list>
#include <map>
#include <memory>

#include "runtime/c_owner.h"
#include "src/http/StatusCode.h"
#include "src/http/cmp_str.h"

class HabHandler;
class HabSession;
struct cJSON;

inline constexpr int kMaxBodyBytes = 16 * 1024 * 1024;  // of a request over HTTP

// HabRequest: the one request that every handler sees, whether it came over HTTP or over JSON-RPC.
// Owns:      its URI, query string and parameters (copies of what is passed in).
// Borrows:   handler, matchEx and chunkCtx, which outlive the request. A session of the session table stays
//            alive while a request is bound to it, even when it expires or is ended meanwhile.
// Threads:   loop thread only.
// Errors:    texts that are absent are null. Returned texts live as long as the request unless said
//            otherwise.
//
// The virtual operations keep their order: both transports implement the interface slot for slot.
class HabRequest {
  public:
    HabRequest(const HabRequest&) = delete;
    HabRequest& operator=(const HabRequest&) = delete;

    virtual ~HabRequest();
    virtual char* getScriptName();
    virtual char* getScriptFileName();
    virtual const char* getMethod();
    // The method as the bit of a handler's method mask: GET 1, PUT 2, POST 4, DELETE 8, any other 0.
    virtual int getHttpMethod();
    virtual const char* getRemoteHost();
    virtual int getRemotePort();
    virtual char* getPathInfo();
    // No transport allows this: stops the process.
    virtual void setPathInfo(char* pathInfo);
    virtual int getContentLength();
    virtual void storeContent(const char* content) = 0;
    // Moves up to `max` body bytes into buf, without a terminator; answers their number.
    virtual size_t getRequestContent(char* buf, size_t max) = 0;
    // Moves the whole body into a new block, without a terminator; the caller frees it. With an empty body 0
    // is answered and *buffer is left untouched.
    virtual size_t getRequestContent(char** buffer) = 0;
    virtual void addHeader(const char* name, const char* value);
    virtual const char* getHeader(const char* name);
    virtual void replyAdd(const void* data, size_t len) = 0;
    virtual void replyPrintf(const char* fmt, ...) __attribute__((format(printf, 2, 3))) = 0;
    virtual void reply(int code, const char* reason, const char* path) = 0;
    virtual void replyFinish() = 0;
    virtual void replyFinish(StatusCode::Value code);
    virtual void replyFinish(int code, const char* reason) = 0;
    virtual void setResponseCookie(const char* name, const char* value, const char* path);
    // Valid until the next cookie lookup on this request.
    virtual char* getRequestCookie(const char* name);
    // The body as a new tree that the caller deletes; null when there is no body, no declared length (a
    // chunked upload) or no JSON in it.
    virtual cJSON* readJSONBody();
    virtual void notFound(const char* msg) = 0;
    virtual void internalError() = 0;
    virtual void unauthorized(const char* msg) = 0;
    // What the client takes: 2 HTML, 1 JSON, 0 unknown.
    virtual int getContentType() = 0;

    [[nodiscard]] char* getURI() const { return m_requestUri.get(); }
    // Null changes nothing.
    void setURI(const char* uri);
    [[nodiscard]] char* getQueryString() const { return m_queryString.get(); }
    // Keeps the text and stores its name=value pieces as parameters. Null changes nothing.
    void setQueryString(const char* query);
    void setSession(HabSession* session);
    [[nodiscard]] HabSession* getSession() const { return m_session; }
    [[nodiscard]] const char* getMatchEx() const { return matchEx; }
    void setMatchEx(const char* expression) { matchEx = expression; }
    // Writes the listed names to the log.
    void findParameters(const std::list<char*>& names);
    [[nodiscard]] char* getParameter(const char* name) const;
    // Stores copies; a value already stored under the name is replaced (and the pointer to it with it).
    void setParameter(const char* name, const char* value);
    void removeParameter(const char* name);
    void setHandler(HabHandler* newHandler) { handler = newHandler; }
    [[nodiscard]] HabHandler* getHandler() const { return handler; }
    void setChunkCtx(void* ctx) { chunkCtx = ctx; }
    [[nodiscard]] void* getChunkCtx() const { return chunkCtx; }
    // A request marked so is deleted after the headers instead of waiting for its body.
    void setDiscard(bool discarded) { discard = discarded; }
    [[nodiscard]] bool isDiscarded() const { return discard; }

  protected:
    HabRequest() = default;

    HabSession* m_session = nullptr;
    char* scriptFileName = nullptr;
    char* scriptName = nullptr;
    const char* method = nullptr;  // a text that outlives the request
    MallocedText m_queryString;
    const char* matchEx = nullptr;
    MallocedText m_requestUri;
    std::map<MallocedText, MallocedText, cmp_str> parameters;
    bool discard = false;
    HabHandler* handler = nullptr;
    void* chunkCtx = nullptr;

  private:
    std::shared_ptr<HabSession> m_sessionKept;  // what keeps m_session alive
};
