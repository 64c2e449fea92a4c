// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "src/rpc/RPCServer.h"

class RPCTransport;

// What one or many sessions are told: printed when the first of them has a connection, and shared by all.
// Borrows: method, path and data, which stay as they are while it lives. Null data leaves the member "data" out.
struct Notification {
    const char* method = nullptr;
    const char* path = nullptr;
    cJSON* data = nullptr;
    RPCServer::Text text{};
};

// NotificationManager: delivers the notifications of resources to the JSON-RPC connection of the session that
// subscribed. Sessions of HTTP clients have no connection to notify: for them a line is logged.
// Borrows: the transports, from addTransport() to removeTransport().
// Threads: loop thread only.
// Lives until the process ends; nothing derives from it, so its destructor is not virtual.
class NotificationManager final {
  public:
    NotificationManager() = default;
    NotificationManager(const NotificationManager&) = delete;
    NotificationManager& operator=(const NotificationManager&) = delete;

    // Send "Created", "Updated" or "Deleted" for the resource at `path`. `data` stays with the caller; null
    // leaves the member "data" out. While a request is being handled they wait for its response.
    virtual void notifyCreated(unsigned int sessionId, const char* path, cJSON* data);
    virtual void notifyUpdated(unsigned int sessionId, const char* path, cJSON* data);
    virtual void notifyDeleted(unsigned int sessionId, const char* path);
    // The same for one of the sessions that are told alike.
    void tell(unsigned int sessionId, Notification& notification);

    // Maps the transport's session number to it; a number that is mapped keeps its transport. A transport
    // without session id text is ignored by both.
    virtual void addTransport(RPCTransport* transport);
    // Forgets the transport under every number: one whose session had expired was given a second one.
    virtual void removeTransport(RPCTransport* transport);
    // Forgets one number: nothing is sent under it any more.
    void removeSession(unsigned int sessionId);

  private:
    void notify(unsigned int sessionId, const char* method, const char* path, cJSON* data);

    // Null for a session without a connection.
    RPCTransport* transportOf(unsigned int sessionId);

    using Entry = std::pair<unsigned int, RPCTransport*>;
    [[nodiscard]] std::vector<Entry>::iterator firstFrom(unsigned int sessionId);

    // An ordered map in one piece: a change is told to all of them in session order, and looking up the next one takes
    // no walk through memory that has left the cache since the change before.
    std::vector<Entry> transports;
    // Behind the one found last: looking here first spares the search.
    size_t m_next = 0;
};
