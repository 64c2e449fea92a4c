// SPDX-License-Identifier: MIT

#pragma once

#include <map>
#include <string>

#include "src/rest/BasePathHandler.h"

// BaseCollection: a resource whose children are named entries. A subclass says which entries there are and
// overrides the entry operations that it supports; an entry is created by createOperation() of the collection.
// Owns: the entries' subscriptions, with copies of the entries' names.
// A collection's path ends in "/", so the path of an entry is the collection's path and the entry's name.
class BaseCollection : public BasePathHandler {
  public:
    // The entry name whose subscribers hear of entries that are new; no entry needs to have it.
    static constexpr const char* kNewEntryName = "new";

    bool isCollectionPathHandler() override;
    void deleteAllSubscriptionsBelow(unsigned int sessionId) override;
    void addSubscriptionsBelow(unsigned int sessionId, cJSON* array) override;
    // The handler below an entry, borrowed, or null: entries have no children unless a subclass says so.
    [[nodiscard]] virtual BasePathHandler* findEntrySubPathHandler(const char* entry, const char* name);
    // Each answers the request, here with 405 for an entry that exists and 404 for others.
    virtual void readEntryOperation(const char* entry, HabRequest* request);
    virtual void updateEntryOperation(const char* entry, HabRequest* request);
    virtual void deleteEntryOperation(const char* entry, HabRequest* request);
    [[nodiscard]] virtual bool isEntry(const char* entry);

    // Requests about the session's own subscription on an entry; each answers the request. They do not ask
    // whether the entry exists.
    void createEntrySubscription(const char* entry, HabRequest* request);
    void readEntrySubscription(const char* entry, HabRequest* request);
    void updateEntrySubscription(const char* entry, HabRequest* request);
    void deleteEntrySubscription(const char* entry, HabRequest* request);
    // Borrowed; null when there is none.
    [[nodiscard]] SubscriptionMap* getEntrySubscriptionMap(const char* entry);
    [[nodiscard]] subscription* getEntrySubscription(const char* entry, unsigned int sessionId);
    [[nodiscard]] JsonPtr createEntrySubscriptionJson(const char* entry, const subscription* record);

    // For subclasses, after an entry changed; the data stays the caller's.
    void notifyEntryCreated(const char* entry, cJSON* data);
    void notifyEntryCreatedOnNewPath(cJSON* data);
    void notifyEntryUpdated(const char* entry, cJSON* data, AttributeMap* changed);
    void notifyEntryUpdated(const char* entry, cJSON* data, int count, const char** names);
    void notifyEntryDeleted(const char* entry);

    // As for a node: first who subscribed to the entry, then who hears of the collection.
    using BasePathHandler::buildNotifyToSubscriptionMap;
    [[nodiscard]] NotifyMap* buildNotifyToSubscriptionMap(const char* entry, bool recursive_only,
                                                          NotifyMap* into);

  private:
    // Cut to 199 characters.
    [[nodiscard]] std::string entryPath(const char* entry) const;
    [[nodiscard]] SubscriberNotice entryNotice(const char* entry);
    // The entry's map, made when there is none.
    [[nodiscard]] SubscriptionMap& subscriptionsFor(const char* entry);

    std::map<std::string, SubscriptionMap, std::less<>> entrySubscriptions;
};
