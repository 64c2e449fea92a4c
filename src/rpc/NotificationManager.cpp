// SPDX-License-Identifier: MIT

#include "src/rpc/NotificationManager.h"

#include <iterator>

#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/rpc/RPCServer.h"
#include "src/rpc/RPCTransport.h"

namespace {

constexpr const char* kModule = "src/NotificationManager";

}  // namespace

void NotificationManager::notifyCreated(unsigned int sessionId, const char* path, cJSON* data) {
    logger_function(7, kModule, "notifyCreated()");
    notify(sessionId, "Created", path, data);
}

void NotificationManager::notifyUpdated(unsigned int sessionId, const char* path, cJSON* data) {
    logger_function(7, kModule, "notifyUpdated()");
    notify(sessionId, "Updated", path, data);
}

void NotificationManager::notifyDeleted(unsigned int sessionId, const char* path) {
    logger_function(7, kModule, "notifyDeleted()");
    notify(sessionId, "Deleted", path, nullptr);
}

void NotificationManager::addTransport(RPCTransport* transport) {
    if (transport->getSessionId() == nullptr) {
        return;
    }
    logger_function(7, kModule, "addTransport() sessionID: ");
    if (transports.try_emplace(transport->getSessionNumberId(), transport).second) {
        logger_function(7, kModule, "addTransport() MUST ADD");
    }
}

void NotificationManager::removeTransport(RPCTransport* transport) {
    if (transport->getSessionId() == nullptr) {
        return;
    }
    logger_function(7, kModule, "removeTransport() sessionID: ");
    std::erase_if(transports, [transport](const auto& entry) { return entry.second == transport; });
    m_next = transports.end();
}

RPCTransport* NotificationManager::transportOf(unsigned int sessionId) {
    const bool is_next = m_next != transports.end() && m_next->first == sessionId;
    const auto found = is_next ? m_next : transports.find(sessionId);
    if (found == transports.end()) {
        return nullptr;
    }
    m_next = std::next(found);
    if (m_next != transports.end()) {
        // Its connection has rested since the last change; by the time its turn comes the cache has it again.
        __builtin_prefetch(m_next->second);
    }
    return found->second;
}

void NotificationManager::notify(unsigned int sessionId, const char* method, const char* path, cJSON* data) {
    RPCTransport* const transport = transportOf(sessionId);
    if (transport == nullptr) {
        logger_function(4, kModule, "Transport NOT found");
        return;
    }
    const JsonPtr params(cJSON_CreateObject());
    cJSON_AddStringToObject(params.get(), "path", path);
    if (data != nullptr) {
        // A reference: the text is printed before the caller goes on, a copy would tell the same.
        cJSON_AddItemReferenceToObject(params.get(), "data", data);
    }
    transport->getServer()->sendNotification(method, params.get(), transport);
}
