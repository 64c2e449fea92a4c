// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

class RPCTransport;

// Funct: one method of the JSON-RPC server.
class Funct {
  public:
    // Runs the method for a message that came in on `transport`. `params` is the message's member "params",
    // null when there is none; it stays with the caller, who frees it, yet the method may take members out of
    // it. Answers a new item that the caller frees: the result when `isResult` is set to true, else the error
    // object; null without a result makes the answer "Invalid Request". `isResult` is false at the call.
    virtual cJSON* doit(cJSON* params, bool& isResult, RPCTransport* transport) = 0;
    virtual ~Funct() = default;
};
