// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "src/base/owners.h"
#include "src/http/HabRequest.h"

// RecordingRequest: a request that a test fills in and whose answer it reads afterwards.
// Borrows: the session, which outlives it.
class RecordingRequest : public HabRequest {
  public:
    // The path's levels become the parameters "main_res", "sub1" .. "sub7", as the dispatcher fills them in for
    // a controller whose API path is one level long: "/system/info" has the main_res "info".
    RecordingRequest(const char* method_text, const char* uri, HabSession* session);

    // The body, as it would come over the wire; without one the request has no content.
    void setBody(const char* text) { m_body = text; }
    // What getContentType() answers: 1 (JSON) unless set.
    void setAcceptedType(int type) { m_accepted_type = type; }

    // The answer. Status 0 and a count of 0 mean: none yet.
    [[nodiscard]] int status() const { return m_status; }
    [[nodiscard]] const std::string& text() const { return m_text; }
    // The answer's text parsed; null when it is no JSON.
    [[nodiscard]] JsonPtr json() const { return JsonPtr(cJSON_Parse(m_text.c_str())); }
    // The third argument of reply(): where a new resource is.
    [[nodiscard]] const std::string& location() const { return m_location; }
    [[nodiscard]] int finishCount() const { return m_finish_count; }

    int getContentLength() override { return static_cast<int>(m_body.size()); }
    void storeContent(const char* content) override { setBody(content); }
    size_t getRequestContent(char* buffer, size_t max) override;
    size_t getRequestContent(char** buffer) override;
    void replyAdd(const void* data, size_t length) override;
    void replyPrintf(const char* format, ...) override __attribute__((format(printf, 2, 3)));
    void reply(int code, const char* answer, const char* path) override;
    void replyFinish() override { finish(200); }
    void replyFinish(int code, const char* reason) override;
    using HabRequest::replyFinish;
    void notFound(const char* message) override;
    void internalError() override { finish(500); }
    void unauthorized(const char* message) override;
    int getContentType() override { return m_accepted_type; }

  private:
    void finish(int code);

    std::string m_body;
    int m_accepted_type = 1;
    int m_status = 0;
    std::string m_text;
    std::string m_location;
    int m_finish_count = 0;
};
