// SPDX-License-Identifier: MIT

#pragma once

#include "src/rpc/Funct.h"

class NotificationManager;

// The REST resources as JSON-RPC methods: one class for each of the four operations.
// Params: an object with "path", the path of the resource as an HTTP client would use it, and "data", the
//         payload.
// Answer: an object with "code", the status; "path" of the resource when one was created; "data", the reply body
//         when it is JSON; "message", the phrase of a status outside 200..299, which makes the object the error.

// Lets the dispatcher answer the request and gives the answer back as a new item that the caller frees, `isResult`
// set; null when the params have no text "path". Takes "path" out of `params`, which may be null or no object. The
// first call of a connection gives it its session and makes it known to the notification manager.
cJSON* bridgeRESTCall(const char* method, cJSON* params, bool& isResult, RPCTransport* transport,
                      NotificationManager* notificationManager);

// RestMethod: what the four methods share.
// Borrows: the notification manager, which outlives it.
class RestMethod : public Funct {
  public:
    cJSON* doit(cJSON* params, bool& isResult, RPCTransport* transport) override;

    // The transport of the call in progress, null outside of calls.
    static RPCTransport* client;

  protected:
    RestMethod(const char* method, NotificationManager* notificationManager)
        : m_method(method), m_notificationManager(notificationManager) {}

  private:
    const char* m_method;
    NotificationManager* m_notificationManager;
};

class RPCCreate : public RestMethod {
  public:
    explicit RPCCreate(NotificationManager* notificationManager) : RestMethod("POST", notificationManager) {}
};

class RPCRead : public RestMethod {
  public:
    explicit RPCRead(NotificationManager* notificationManager) : RestMethod("GET", notificationManager) {}
};

class RPCUpdate : public RestMethod {
  public:
    explicit RPCUpdate(NotificationManager* notificationManager) : RestMethod("PUT", notificationManager) {}
};

class RPCDelete : public RestMethod {
  public:
    explicit RPCDelete(NotificationManager* notificationManager)
        : RestMethod("DELETE", notificationManager) {}
};
