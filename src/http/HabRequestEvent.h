// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "src/base/owners.h"
#include "src/http/HabRequest.h"

// HabRequestEvent: a request that came over HTTP.
// Owns:      the reply body being built.
// Borrows:   the library's request until the answer is sent; from then on the library may free it at any
//            time, and this object behaves as one without a request. It must be deleted before or with its
//            request.
// Threads:   loop thread only.
// Errors:    the first answer (reply or error page) counts, later ones and what they add to the body are
//            ignored. Without a request (null) nothing is sent and lookups find nothing.
class HabRequestEvent : public HabRequest {
  public:
    // Null gives an unbound object. Stops the process on an empty path: ask isServable() first.
    explicit HabRequestEvent(evhttp_request* req);
    ~HabRequestEvent() override;

    // Whether an object may be made of the request: it has a path, and no NUL in it, which would hide the
    // rest of the path from the dispatcher. A URI that cannot be parsed is servable: no handler will match
    // it.
    [[nodiscard]] static bool isServable(evhttp_request* req);

    // From now on an answer is kept instead of sent: it was found while the body is still on its way, and a
    // connection can only go on to the next request once this one has been read to its end.
    void holdAnswers() { m_holding = true; }
    // Ends the holding and sends the kept answer; says whether there was one.
    bool releaseAnswer();
    // Whether an answer was sent or is kept.
    [[nodiscard]] bool isAnswered() const { return m_answer != Answer::kNone; }
    // -1 without a request, 0 before the answer.
    [[nodiscard]] int getResponseCode() const;

    char* getScriptName() override;
    char* getScriptFileName() override;
    const char* getMethod() override;
    const char* getRemoteHost() override;
    int getRemotePort() override;
    int getContentLength() override;
    void storeContent(const char* content) override;
    size_t getRequestContent(char* buf, size_t max) override;
    size_t getRequestContent(char** buffer) override;
    void addHeader(const char* name, const char* value) override;
    const char* getHeader(const char* name) override;
    void replyAdd(const void* data, size_t len) override;
    void replyPrintf(const char* fmt, ...) override __attribute__((format(printf, 2, 3)));
    // With nothing added to the body, `reason` is the body (JSON) and the code's phrase the reason.
    void reply(int code, const char* reason, const char* path) override;
    using HabRequest::replyFinish;
    void replyFinish() override;
    void replyFinish(int code, const char* reason) override;
    // The path is always "/", whatever `path` says.
    void setResponseCookie(const char* name, const char* value, const char* path) override;
    char* getRequestCookie(const char* name) override;
    void notFound(const char* msg) override;
    void internalError() override;
    void unauthorized(const char* msg) override;
    int getContentType() override;
    // Looks into the first Set-Cookie header of the answer only. Valid until the next cookie lookup.
    virtual char* getResponseCookie(const char* name);

  private:
    enum class Answer { kNone, kHeld, kSent };

    void readUri(const evhttp_uri* uri);
    [[nodiscard]] bool isOpen() const { return m_req != nullptr && !isAnswered(); }
    void answer(int code, const char* reason);
    void answerWithPage(int code);
    void send();
    char* findCookie(const char* header, const char* name);

    evhttp_request* m_req;
    BufferPtr m_evBuf;
    MallocedText cookieValue;
    bool m_holding = false;
    Answer m_answer = Answer::kNone;
    int m_answerCode = -1;
    std::string m_answerReason;
};
