// SPDX-License-Identifier: MIT

#include "src/rpc/NotificationManager.h"

#include <iterator>

#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/rpc/RPCTransport.h"

namespace {

constexpr const char* kModule = "src/NotificationManager";

RPCServer::Text print_text(const Notification& notification) {
    const JsonPtr params(cJSON_CreateObject());
    cJSON_AddStringToObject(params.get(), "path", notification.path);
    if (notification.data != nullptr) {
        // A reference: a copy would print the same.
        cJSON_AddItemReferenceToObject(params.get(), "data", notification.data);
    }
    return RPCServer::printNotification(notification.method, params.get());
}

}  // namespace

void NotificationManager::notifyCreated(unsigned int sessionId, const char* path, cJSON* data) {
    notify(sessionId, "Created", path, data);
}

void NotificationManager::notifyUpdated(unsigned int sessionId, const char* path, cJSON* data) {
    notify(sessionId, "Updated", path, data);
}

void NotificationManager::notifyDeleted(unsigned int sessionId, const char* path) {
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

void NotificationManager::removeSession(unsigned int sessionId) {
    transports.erase(sessionId);
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
    Notification notification{method, path, data};
    tell(sessionId, notification);
}

void NotificationManager::tell(unsigned int sessionId, Notification& notification) {
    logger_function(7, kModule, "notify%s()", notification.method);
    RPCTransport* const transport = transportOf(sessionId);
    if (transport == nullptr) {
        logger_function(4, kModule, "Transport NOT found");
        return;
    }
    if (notification.text == nullptr) {
        notification.text = print_text(notification);
    }
    transport->getServer()->sendText(notification.text, transport);
}
