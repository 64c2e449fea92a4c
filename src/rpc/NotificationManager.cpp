// SPDX-License-Identifier: MIT

#include "src/rpc/NotificationManager.h"

#include <algorithm>

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

// Of a connection that has rested since the last change, what it takes to send: what it starts with, and the first
// members of its own kind, which stand behind those of all kinds.
void prefetch(const RPCTransport* transport) {
    __builtin_prefetch(transport);
    __builtin_prefetch(transport + 1);
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
    const unsigned int number = transport->getSessionNumberId();
    const auto place = firstFrom(number);
    if (place == transports.end() || place->first != number) {
        transports.emplace(place, number, transport);
        logger_function(7, kModule, "addTransport() MUST ADD");
    }
}

void NotificationManager::removeTransport(RPCTransport* transport) {
    if (transport->getSessionId() == nullptr) {
        return;
    }
    logger_function(7, kModule, "removeTransport() sessionID: ");
    std::erase_if(transports, [transport](const auto& entry) { return entry.second == transport; });
}

void NotificationManager::removeSession(unsigned int sessionId) {
    std::erase_if(transports, [sessionId](const Entry& entry) { return entry.first == sessionId; });
}

std::vector<NotificationManager::Entry>::iterator NotificationManager::firstFrom(unsigned int sessionId) {
    return std::ranges::lower_bound(transports, sessionId, {}, &Entry::first);
}

RPCTransport* NotificationManager::transportOf(unsigned int sessionId) {
    const bool is_next = m_next < transports.size() && transports[m_next].first == sessionId;
    const auto found =
        is_next ? transports.begin() + static_cast<std::ptrdiff_t>(m_next) : firstFrom(sessionId);
    if (found == transports.end() || found->first != sessionId) {
        return nullptr;
    }
    m_next = static_cast<size_t>(found - transports.begin()) + 1;
    if (m_next < transports.size()) {
        // By the time its turn comes the cache has it again.
        prefetch(transports[m_next].second);
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
