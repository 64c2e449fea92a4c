// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>

#include "src/base/owners.h"

class Funct;
class RPCTransport;
class TransportListener;

// RPCServer: answers JSON-RPC 2.0 messages through its registered methods and keeps notifications behind the
// response of the request that caused them.
// Owns:    the texts of queued notifications, each shared by all that it waits for.
// Borrows: methods and transport listener, which outlive it. A transport is not touched again once
//          handleRemoveTransport() has been called for it, even when that happens while its own message is
//          being handled; notifications that still wait for it are dropped.
// Threads: loop thread only.
class RPCServer {
  public:
    using Text = std::shared_ptr<const char>;

    RPCServer() = default;
    RPCServer(const RPCServer&) = delete;
    RPCServer& operator=(const RPCServer&) = delete;

    // A name is compared exactly; one that is registered already keeps its first method.
    void registerMethod(const std::string& name, Funct* method);
    // The spelling is the interface's own and stays. There is one listener: a second one fails an assertion.
    void registerTransportLisetner(TransportListener* listener);

    // Tell the listener, if there is one.
    void handleAddTransport(RPCTransport* transport);
    void handleRemoveTransport(RPCTransport* transport);

    // Answers one message, which is never null and stays with the caller. What methods notify meanwhile is
    // sent after the response, before this returns.
    void handleMessage(cJSON* message, RPCTransport* transport);
    // Sends at once, or after the response of the request that is being handled. `method` is never null;
    // `params` may be null and stays with the caller, unchanged; a null transport sends nothing.
    void sendNotification(const char* method, cJSON* params, RPCTransport* transport);
    // The two halves of it, for a text that many get. Without memory there is none, and nothing is sent.
    [[nodiscard]] static Text printNotification(const char* method, cJSON* params);
    void sendText(const Text& text, RPCTransport* transport);
    // Sends and frees the queue; does nothing while a message is being handled.
    void sendQueuedNotification();

  private:
    struct QueuedNotification {
        RPCTransport* transport;
        Text text;
    };

    JsonPtr answerMessage(const cJSON* message, RPCTransport* transport);

    std::map<std::string, Funct*, std::less<>> methods;
    TransportListener* m_transportListener = nullptr;
    // The id that the first call of this side would carry. This side makes none.
    [[maybe_unused]] int32_t m_nextCallId = 1;
    std::list<QueuedNotification> queuedNotifications;
    bool busy = false;
    // Whose message is being handled; null when that transport has gone meanwhile.
    RPCTransport* m_requester = nullptr;
};
