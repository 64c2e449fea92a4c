// SPDX-License-Identifier: MIT

#include "src/rest/BaseCollection.h"

#include "runtime/logging.h"
#include "src/rest/SubscriberNotice.h"

namespace {

constexpr const char* kModule = "src/BaseCollection";
constexpr std::size_t kMaxEntryPath = 199;
// Entries come and go under ever new names, and so do their subscribers: beyond this many the maps in which nobody is
// left go when another one is made.
constexpr std::size_t kMaxIdleMaps = 100;

// An entry that exists has no such operation.
void refuse_entry_operation(BaseCollection& collection, const char* entry, HabRequest* request) {
    request->replyFinish(collection.isEntry(entry) ? StatusCode::kMethodNotAllowed : StatusCode::kNotFound);
}

}  // namespace

bool BaseCollection::isCollectionPathHandler() {
    return true;
}

void BaseCollection::deleteAllSubscriptionsBelow(unsigned int sessionId) {
    BasePathHandler::deleteAllSubscriptionsBelow(sessionId);
    for (auto& [entry, records] : entrySubscriptions) {
        records.erase(sessionId);
    }
}

void BaseCollection::addSubscriptionsBelow(unsigned int sessionId, cJSON* array) {
    BasePathHandler::addSubscriptionsBelow(sessionId, array);
    for (const auto& [entry, records] : entrySubscriptions) {
        const auto found = records.find(sessionId);
        if (found != records.end()) {
            appendSubscriptionJson(array, entryPath(entry.c_str()).c_str(), &found->second);
        }
    }
}

BasePathHandler* BaseCollection::findEntrySubPathHandler(const char*, const char*) {
    return nullptr;
}

void BaseCollection::readEntryOperation(const char* entry, HabRequest* request) {
    refuse_entry_operation(*this, entry, request);
}

void BaseCollection::updateEntryOperation(const char* entry, HabRequest* request) {
    refuse_entry_operation(*this, entry, request);
}

void BaseCollection::deleteEntryOperation(const char* entry, HabRequest* request) {
    refuse_entry_operation(*this, entry, request);
}

bool BaseCollection::isEntry(const char*) {
    return false;
}

void BaseCollection::createEntrySubscription(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "createEntrySubscription(%s)", entry);
    const auto session = sessionNumber(request);
    if (!session) {
        return;
    }
    if (const auto accepted = acceptSubscription(request, getEntrySubscription(entry, *session))) {
        subscriptionsFor(entry).emplace(*session, *accepted);
        replySubscription(request, StatusCode::kCreated, entryPath(entry).c_str(), &*accepted);
    }
}

BasePathHandler::SubscriptionMap& BaseCollection::subscriptionsFor(const char* entry) {
    if (SubscriptionMap* const records = getEntrySubscriptionMap(entry)) {
        return *records;
    }
    if (entrySubscriptions.size() >= kMaxIdleMaps) {
        std::erase_if(entrySubscriptions, [](const auto& records) { return records.second.empty(); });
    }
    return entrySubscriptions[entry];
}

void BaseCollection::readEntrySubscription(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "readEntrySubscription(%s)", entry);
    if (const auto session = sessionNumber(request)) {
        replySubscription(request, StatusCode::kOk, entryPath(entry).c_str(),
                          getEntrySubscription(entry, *session));
    }
}

void BaseCollection::updateEntrySubscription(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "updateEntrySubscription(%s)", entry);
    if (const auto session = sessionNumber(request)) {
        applySubscriptionUpdate(request, getEntrySubscription(entry, *session));
    }
}

void BaseCollection::deleteEntrySubscription(const char* entry, HabRequest* request) {
    logger_function(7, kModule, "deleteEntrySubscription(%s)", entry);
    if (const auto session = sessionNumber(request)) {
        SubscriptionMap* const records = getEntrySubscriptionMap(entry);
        const bool removed = records != nullptr && records->erase(*session) > 0;
        request->replyFinish(removed ? StatusCode::kOk : StatusCode::kNotFound);
    }
}

BasePathHandler::SubscriptionMap* BaseCollection::getEntrySubscriptionMap(const char* entry) {
    const auto found = entrySubscriptions.find(entry);
    return found == entrySubscriptions.end() ? nullptr : &found->second;
}

BasePathHandler::subscription* BaseCollection::getEntrySubscription(const char* entry,
                                                                    unsigned int sessionId) {
    SubscriptionMap* const records = getEntrySubscriptionMap(entry);
    if (records == nullptr) {
        return nullptr;
    }
    const auto found = records->find(sessionId);
    return found == records->end() ? nullptr : &found->second;
}

JsonPtr BaseCollection::createEntrySubscriptionJson(const char* entry, const subscription* record) {
    return createSubscriptionJson(entryPath(entry).c_str(), record);
}

void BaseCollection::notifyEntryCreated(const char* entry, cJSON* data) {
    entryNotice(entry).created(data);
}

void BaseCollection::notifyEntryCreatedOnNewPath(cJSON* data) {
    notifyEntryCreated(kNewEntryName, data);
}

void BaseCollection::notifyEntryUpdated(const char* entry, cJSON* data, AttributeMap* changed) {
    entryNotice(entry).updated(data, [&] { return createUpdatedResponseData(changed); });
}

void BaseCollection::notifyEntryUpdated(const char* entry, cJSON* data, int count, const char** names) {
    entryNotice(entry).updated(data, [&] { return createUpdatedResponseData(data, count, names); });
}

void BaseCollection::notifyEntryDeleted(const char* entry) {
    entryNotice(entry).deleted();
}

BasePathHandler::NotifyMap* BaseCollection::buildNotifyToSubscriptionMap(const char* entry,
                                                                         bool recursive_only,
                                                                         NotifyMap* into) {
    std::unique_ptr<NotifyMap> map(into);
    if (SubscriptionMap* const records = getEntrySubscriptionMap(entry)) {
        gatherSubscriptions(*records, recursive_only, map);
    }
    return BasePathHandler::buildNotifyToSubscriptionMap(recursive_only, map.release());
}

std::string BaseCollection::entryPath(const char* entry) const {
    const char* const own = getPath();
    return (std::string(own == nullptr ? "" : own) + entry).substr(0, kMaxEntryPath);
}

SubscriberNotice BaseCollection::entryNotice(const char* entry) {
    return {getApi(), buildNotifyToSubscriptionMap(entry, false, nullptr), entryPath(entry)};
}
