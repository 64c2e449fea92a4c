// SPDX-License-Identifier: MIT

#pragma once

#include <cjson/cJSON.h>

#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "src/base/owners.h"

class RPCServer;
class RPCTransport;

// RPCCall: a call that this side has sent and whose response it awaits.
// Borrows: the transport that it went out on, which owns it.
class RPCCall {
  public:
    explicit RPCCall(RPCTransport* transport) : m_transport(transport) {}
    RPCCall(const RPCCall&) = delete;
    RPCCall& operator=(const RPCCall&) = delete;

    virtual const char* methodName() const = 0;
    // Takes the response; one of the two is null. Both stay with the caller. The base logs them.
    virtual void handleResponse(cJSON* result, cJSON* error);
    virtual ~RPCCall() = 0;

    RPCTransport* getTransport() const { return m_transport; }
    bool isPending() const { return m_pending; }

  private:
    RPCTransport* m_transport;
    bool m_pending = true;
};

// RPCTransport: one connection of the JSON-RPC server, with the session that its first call makes; and,
// class-wide, the list of live connections.
// Owns:    the session id text and the calls that await their response.
// Borrows: the server, which outlives every transport.
// Threads: loop thread only.
class RPCTransport {
  public:
    // Makes `server`, which may be null, the server of all transports.
    explicit RPCTransport(RPCServer* server) { m_server = server; }
    RPCTransport(const RPCTransport&) = delete;
    RPCTransport& operator=(const RPCTransport&) = delete;

    // A transport that was added has to be removed before.
    virtual ~RPCTransport() = default;
    // Sends one printed message; the text stays with the caller. The base only logs it.
    virtual void sendData(const char* text);

    // Takes one message of the peer, which stays with the caller: a request or notification goes to the
    // server, a response to the pending call of its id. The transport may be gone when this returns.
    void dataReceived(cJSON* message);
    // Keeps `call` until a response with `id` arrives; an id that is pending already keeps its first call.
    void addCall(int id, std::unique_ptr<RPCCall> call);

    RPCServer* getServer() const { return m_server; }
    // Null until the connection has a session; valid until the next setSessionId().
    char* getSessionId() const { return m_sessionId.get(); }
    // Keeps a copy; null takes the session id away.
    void setSessionId(const char* sessionId);
    // 0 until the connection has a session.
    unsigned int getSessionNumberId() const { return m_sessionNumberId; }
    void setSessionNumberId(unsigned int numberId);
    // What keeps the connection's session, until the connection ends or forgets it.
    void setSessionHold(std::shared_ptr<void> hold) { m_sessionHolds.push_back(std::move(hold)); }
    // Before the next session: this one is not among the former ones, and is let go.
    void forgetSession();
    // The numbers before this one, oldest first: of sessions that sat idle too long and were replaced. What was
    // subscribed under them is this connection's until it ends.
    const std::vector<unsigned int>& getFormerSessionNumberIds() const { return m_formerSessionNumberIds; }

    // Tell the server, which tells its listener, and keep the list of live connections. Once removed a
    // transport is not touched any more by this module.
    static void add(RPCTransport* transport);
    static void remove(RPCTransport* transport);
    // Whether the transport is live; a pointer to one that is gone is a proper question.
    static bool isValid(const RPCTransport* transport);

  protected:
    // The live ones, in the order in which they were added.
    static const std::vector<RPCTransport*>& all() { return connections; }

    static RPCServer* m_server;

  private:
    MallocedText m_sessionId;
    // Those of the sessions before as well: nobody else may get their numbers.
    std::vector<std::shared_ptr<void>> m_sessionHolds;
    unsigned int m_sessionNumberId = 0;
    std::map<int, std::unique_ptr<RPCCall>> m_pendingCalls;
    std::vector<unsigned int> m_formerSessionNumberIds;

    static std::vector<RPCTransport*>& connections;
};
