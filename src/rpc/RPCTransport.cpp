// SPDX-License-Identifier: MIT

#include "src/rpc/RPCTransport.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/logging.h"
#include "src/rpc/RPCServer.h"

namespace {

constexpr const char* kModule = "src/RPCServer";

void log_item(const char* format, const cJSON* item) {
    const JsonText text(item == nullptr ? nullptr : cJSON_Print(item));
    logger_function(7, kModule, format, text == nullptr ? "(null)" : text.get());
}

}  // namespace

RPCServer* RPCTransport::m_server = nullptr;
// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::vector<RPCTransport*>& RPCTransport::connections = *new std::vector<RPCTransport*>;

RPCCall::~RPCCall() = default;

void RPCCall::handleResponse(cJSON* result, cJSON* error) {
    logger_function(7, kModule, "handleResponse()\n");
    log_item("Result: %s\n", result);
    log_item("Error: %s\n", error);
    m_pending = false;
}

void RPCTransport::sendData(const char* text) {
    logger_function(7, kModule, "RPCTransport::sendData: %s\n", text);
}

void RPCTransport::dataReceived(cJSON* message) {
    cJSON* result = cJSON_GetObjectItemCaseSensitive(message, "result");
    const cJSON* id = cJSON_GetObjectItemCaseSensitive(message, "id");
    cJSON* error = cJSON_GetObjectItemCaseSensitive(message, "error");
    if ((result == nullptr && error == nullptr) || id == nullptr) {
        if (m_server == nullptr) {
            logger_function(5, kModule, "No server - is this a notification received at the client?\n");
            return;
        }
        logger_function(7, kModule, "Passing received message to server\n");
        m_server->handleMessage(message, this);
        return;
    }
    logger_function(7, kModule, "Got response with ID: %d\n", id->valueint);
    // Taken out first: whatever the call does, this transport included, is not touched afterwards.
    if (const auto pending = m_pendingCalls.extract(id->valueint)) {
        logger_function(7, kModule, "Found pending call in list...\n");
        pending.mapped()->handleResponse(result, error);
    }
}

void RPCTransport::addCall(int id, std::unique_ptr<RPCCall> call) {
    m_pendingCalls.try_emplace(id, std::move(call));
}

void RPCTransport::setSessionId(const char* sessionId) {
    m_sessionId.reset(sessionId == nullptr ? nullptr : strdup(sessionId));
}

void RPCTransport::setSessionNumberId(unsigned int numberId) {
    if (m_sessionNumberId != 0) {
        m_formerSessionNumberIds.push_back(m_sessionNumberId);
    }
    m_sessionNumberId = numberId;
}

void RPCTransport::forgetSession() {
    m_sessionNumberId = 0;
    if (!m_sessionHolds.empty()) {
        m_sessionHolds.pop_back();
    }
}

void RPCTransport::add(RPCTransport* transport) {
    if (m_server != nullptr) {
        m_server->handleAddTransport(transport);
    }
    connections.push_back(transport);
}

void RPCTransport::remove(RPCTransport* transport) {
    if (m_server != nullptr) {
        m_server->handleRemoveTransport(transport);
    }
    std::erase(connections, transport);
}

bool RPCTransport::isValid(const RPCTransport* transport) {
    return std::find(connections.begin(), connections.end(), transport) != connections.end();
}
