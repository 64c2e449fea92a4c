// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <string>

#include "src/http/HabRequest.h"

class RPCTransport;

// RPCRequest: a JSON-RPC call as the request that dispatcher and controllers know. The reply stays in the object
// until the caller asks for it; the session cookie is the transport's session id.
// Borrows: method text, params and transport; they outlive the request, but for a transport whose connection ends
//          while the request is being handled: it is asked for the cookie only while the session is looked up.
// Threads: loop thread only.
class RPCRequest : public HabRequest {
  public:
    RPCRequest(const char* methodText, const char* uri, const cJSON* params, RPCTransport* transport);

    // Empty when no reply named a resource.
    const std::string& getReplyPath() const { return m_replyPath; }
    const std::string& getReplyData() const { return m_replyData; }
    // 0 when nothing was answered; of several answers the last one counts.
    int getResultCode() const { return m_resultCode; }

    void storeContent(const char* content) override;
    // There is no raw body: both answer 0 and leave the buffer alone.
    size_t getRequestContent(char* buf, size_t max) override;
    size_t getRequestContent(char** buffer) override;
    const char* getHeader(const char* name) override;
    // The bytes are not kept: a reply over JSON-RPC is text.
    void replyAdd(const void* data, size_t len) override;
    void replyPrintf(const char* format, ...) override __attribute__((format(printf, 2, 3)));
    void reply(int status, const char* body, const char* path) override;
    using HabRequest::replyFinish;
    void replyFinish() override;
    void replyFinish(int status, const char* text) override;
    void setResponseCookie(const char* name, const char* value, const char* path) override;
    char* getRequestCookie(const char* name) override;
    // A copy of the params, which the caller deletes like the body of an HTTP request; null without params.
    cJSON* readJSONBody() override;
    void notFound(const char* message) override;
    void internalError() override;
    void unauthorized(const char* message) override;
    int getContentType() override;

  private:
    std::string m_replyData;
    std::string m_replyPath;
    const cJSON* m_params;
    int m_resultCode = 0;
    RPCTransport* m_transport;
};
