// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include "src/http/HabHandler.h"
#include "src/http/StatusCode.h"

// HabController: turns a request into one of the controller entries below by its method.
// Errors: an entry that answers 0 has not handled the request, which is then answered with 400.
class HabController : public HabHandler {
  public:
    int handleRequest(HabRequest* request) override;
    // Controllers take whole requests only.
    bool isStreaming(HabRequest* request) override;

    // The order of the virtual operations is part of the contract with derived controllers.
    virtual int index(HabRequest* request);
    virtual int create(HabRequest* request);
    virtual int show(HabRequest* request);
    virtual int update(HabRequest* request);
    virtual int destroy(HabRequest* request);

    // The answers below print the body, which stays the caller's and may be null for none.
    static void sendReplyFinish(HabRequest* request, const cJSON* body, int status, const char* text);
    static void error(HabRequest* request, const cJSON* body, StatusCode::Value status);
    static void error(HabRequest* request, const cJSON* body, int status, const char* text);
    static void respond(HabRequest* request, const cJSON* body);

    // 1 JSON, 2 HTML, 0 anything else or none: what the client accepts, and what it has sent.
    static int getRequestContentType(HabRequest* request);
    static int getEntityContentType(HabRequest* request);
};
