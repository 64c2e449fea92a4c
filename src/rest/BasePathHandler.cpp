// SPDX-License-Identifier: MIT

#include "src/rest/BasePathHandler.h"

#include <algorithm>
#include <cstring>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/rest/BaseCollection.h"
#include "src/rest/SubscriberNotice.h"

namespace {

constexpr const char* kModule = "src/BasePathHandler";
constexpr std::size_t kMaxEntryName = 99;

// The entry below which a node hangs that is no entry itself; empty when the node is elsewhere. The collection's
// path ends in "/", and so do the first levels of a path made below it: "/api/rules/" + "/" + "a/child".
std::string entry_above(const char* collection_path, const char* node_path) {
    if (collection_path == nullptr || node_path == nullptr) {
        return {};
    }
    const std::size_t length = std::strlen(collection_path);
    if (std::strncmp(collection_path, node_path, length) != 0) {
        return {};
    }
    const char* const name = node_path + length + std::strspn(node_path + length, "/");
    return {name, std::min(std::strcspn(name, "/"), kMaxEntryName)};
}

void add_copy(cJSON* object, const char* name, const cJSON* value) {
    json_add(object, name, JsonPtr(cJSON_Duplicate(value, 1)));
}

}  // namespace

BasePathHandler::BasePathHandler(ApiControllerInterface* controller, const char* root_path) {
    test_setApiAndPath(controller, root_path);
}

BasePathHandler::~BasePathHandler() {
    subPathHandlers.reset();
    while (!m_watched_keys.empty()) {
        deregisterConfigChange(std::string(m_watched_keys.back()).c_str());
    }
}

void BasePathHandler::readOperation(HabRequest* request) {
    request->replyFinish(StatusCode::kMethodNotAllowed);
}

void BasePathHandler::updateOperation(HabRequest* request) {
    request->replyFinish(StatusCode::kMethodNotAllowed);
}

void BasePathHandler::deleteOperation(HabRequest* request) {
    request->replyFinish(StatusCode::kMethodNotAllowed);
}

void BasePathHandler::createOperation(HabRequest* request) {
    request->replyFinish(StatusCode::kMethodNotAllowed);
}

void BasePathHandler::initSubPathHandlers(ApiControllerInterface*) {}

void BasePathHandler::onConfigChange(unsigned int, const config_data_t*) {
    logger_function(4, kModule, "onConfigChange base implementation do NOTHING");
}

bool BasePathHandler::isCollectionPathHandler() {
    return false;
}

void BasePathHandler::deleteAllSubscriptionsBelow(unsigned int sessionId) {
    if (subPathHandlers != nullptr) {
        for (const auto& [name, child] : *subPathHandlers) {
            child->deleteAllSubscriptionsBelow(sessionId);
        }
    }
    subscriptions.erase(sessionId);
}

void BasePathHandler::addSubscriptionsBelow(unsigned int sessionId, cJSON* array) {
    if (const subscription* const record = getSubscription(sessionId)) {
        appendSubscriptionJson(array, getPath(), record);
    }
    if (subPathHandlers != nullptr) {
        for (const auto& [name, child] : *subPathHandlers) {
            child->addSubscriptionsBelow(sessionId, array);
        }
    }
}

void BasePathHandler::addSubPathHandler(const char* name, BasePathHandler* handler) {
    std::unique_ptr<BasePathHandler> owned(handler);
    if (subPathHandlers == nullptr) {
        subPathHandlers = std::make_unique<ChildMap>();
    }
    std::unique_ptr<BasePathHandler>& place = (*subPathHandlers)[name];
    place.swap(owned);
    if (owned.get() == handler) {
        static_cast<void>(owned.release());  // the same child once more
    } else if (owned != nullptr) {
        m_replaced_handlers.push_back(std::move(owned));
    }
    handler->updatePath(this, name);
}

void BasePathHandler::deleteSubPathHandler(const char* name) {
    if (subPathHandlers != nullptr) {
        const auto found = subPathHandlers->find(name);
        if (found != subPathHandlers->end()) {
            const auto removed = subPathHandlers->extract(found);
        }
    }
}

BasePathHandler* BasePathHandler::findSubPathHandler(const char* name) {
    if (subPathHandlers == nullptr) {
        initSubPathHandlers(api);
    }
    if (subPathHandlers == nullptr) {
        return nullptr;
    }
    const auto found = subPathHandlers->find(name);
    return found == subPathHandlers->end() ? nullptr : found->second.get();
}

void BasePathHandler::updatePath(BasePathHandler* new_parent, const char* name) {
    parent = new_parent;
    api = parent->api;
    // The comparison is with the parent's own path, not with the path that would result, and must stay: a node
    // that was given the path of the place it stands for keeps it when it is hung in there.
    if (path && parent->path == path) {
        return;
    }
    if (!path && !parent->path) {
        return;
    }
    path.reset();
    if (parent->path) {
        path = *parent->path + "/" + name + (isCollectionPathHandler() ? "/" : "");
    }
    if (subPathHandlers != nullptr) {
        for (const auto& [child_name, child] : *subPathHandlers) {
            child->updatePath(this, child_name);
        }
    }
}

void BasePathHandler::test_setApiAndPath(ApiControllerInterface* controller, const char* new_path) {
    api = controller;
    path = new_path;
}

void BasePathHandler::registerConfigChange(const char* key) {
    const int result = config_change_register(key, ChangeCb, this);
    ORVALE_ASSERT(result == 0, "config_change_register(path, ChangeCb, this) == 0", kModule,
                  "void BasePathHandler::registerConfigChange(const char*)");
    m_watched_keys.emplace_back(key);
}

void BasePathHandler::deregisterConfigChange(const char* key) {
    const int result = config_change_deregister(key, ChangeCb, this);
    ORVALE_ASSERT(result == 0, "config_change_deregister(path, ChangeCb, this) == 0", kModule,
                  "void BasePathHandler::deregisterConfigChange(const char*)");
    const auto watched = std::find(m_watched_keys.begin(), m_watched_keys.end(), key);
    if (watched != m_watched_keys.end()) {
        m_watched_keys.erase(watched);
    }
}

void BasePathHandler::ChangeCb(unsigned int count, const config_data_t* data, void* ctrl) {
    logger_function(7, kModule, "ChangeCb");
    ORVALE_ASSERT(ctrl != nullptr, "ctrl", kModule,
                  "static void BasePathHandler::ChangeCb(unsigned int, const config_data_t*, void*)");
    static_cast<BasePathHandler*>(ctrl)->onConfigChange(count, data);
}

_cbus_conn_t* BasePathHandler::getCBusConnection() {
    if (api == nullptr) {
        logger_function(4, kModule, "Missing AIP interface");  // operators search for this spelling
        return nullptr;
    }
    return api->getCBusConnection();
}

void BasePathHandler::createSubscription(HabRequest* request) {
    logger_function(7, kModule, "createSubscription()");
    const auto session = sessionNumber(request);
    if (!session) {
        return;
    }
    if (const auto accepted = acceptSubscription(request, getSubscription(*session))) {
        subscriptions.emplace(*session, *accepted);
        replySubscription(request, StatusCode::kCreated, getPath(), &*accepted);
    }
}

void BasePathHandler::readSubscription(HabRequest* request) {
    logger_function(7, kModule, "readSubscription()");
    if (const auto session = sessionNumber(request)) {
        replySubscription(request, StatusCode::kOk, getPath(), getSubscription(*session));
    }
}

void BasePathHandler::updateSubscription(HabRequest* request) {
    logger_function(7, kModule, "updateSubscription()");
    if (const auto session = sessionNumber(request)) {
        applySubscriptionUpdate(request, getSubscription(*session));
    }
}

void BasePathHandler::deleteSubscription(HabRequest* request) {
    logger_function(7, kModule, "deleteSubscription()");
    if (const auto session = sessionNumber(request)) {
        const bool removed = subscriptions.erase(*session) > 0;
        request->replyFinish(removed ? StatusCode::kOk : StatusCode::kNotFound);
    }
}

BasePathHandler::subscription* BasePathHandler::getSubscription(unsigned int sessionId) {
    const auto found = subscriptions.find(sessionId);
    return found == subscriptions.end() ? nullptr : &found->second;
}

BasePathHandler::NotifyMap* BasePathHandler::buildNotifyToSubscriptionMap(bool recursive_only,
                                                                          NotifyMap* into) {
    std::unique_ptr<NotifyMap> map(into);
    gatherSubscriptions(subscriptions, recursive_only, map);
    if (parent == nullptr) {
        return map.release();
    }
    if (!parent->isCollectionPathHandler()) {
        return parent->buildNotifyToSubscriptionMap(true, map.release());
    }
    const std::string entry = entry_above(parent->getPath(), getPath());
    if (entry.empty()) {
        return map.release();
    }
    auto* const collection = static_cast<BaseCollection*>(parent);
    return collection->buildNotifyToSubscriptionMap(entry.c_str(), true, map.release());
}

SubscriberNotice BasePathHandler::notice() {
    return {api, buildNotifyToSubscriptionMap(false, nullptr), path.value_or("")};
}

void BasePathHandler::notifyCreated(cJSON* data) {
    notice().created(data);
}

void BasePathHandler::notifyUpdated(cJSON* data, AttributeMap* changed) {
    notice().updated(data, [&] { return createUpdatedResponseData(changed); });
}

void BasePathHandler::notifyUpdated(cJSON* data, int count, const char** names) {
    notice().updated(data, [&] { return createUpdatedResponseData(data, count, names); });
}

void BasePathHandler::notifyDeleted() {
    notice().deleted();
}

JsonPtr BasePathHandler::createUpdatedResponseData(cJSON* data, int count, const char** names) {
    JsonPtr changed(cJSON_CreateObject());
    for (int i = 0; i < count; ++i) {
        add_copy(changed.get(), names[i], cJSON_GetObjectItemCaseSensitive(data, names[i]));
    }
    return changed;
}

JsonPtr BasePathHandler::createUpdatedResponseData(AttributeMap* changed_attributes) {
    JsonPtr changed(cJSON_CreateObject());
    for (const auto& [name, value] : *changed_attributes) {
        add_copy(changed.get(), name, value);
    }
    return changed;
}
