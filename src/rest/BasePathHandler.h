// SPDX-License-Identifier: MIT

#pragma once

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"
#include "src/base/owners.h"
#include "src/http/HabRequest.h"
#include "src/rest/ApiControllerInterface.h"
#include "src/rest/SubscriptionRules.h"

class SubscriberNotice;

// BasePathHandler: one resource in the tree of a controller. A class that overrides nothing is a container that
// gives its children their place in the path.
// Owns:      its children, its subscriptions, its path and its registrations for configuration changes.
// Borrows:   the names of its children (string literals in practice), its parent and the controller; all of
//            them outlive it.
// Threads:   loop thread only.
// Callbacks: a notification may end the session that it is sent to; subscriptions vanish then, nodes do not.
// Errors:    every failure of a request is answered on the request as an HTTP status.
class BasePathHandler : public SubscriptionRules {
  public:
    // Changed attributes by name; names and values are borrowed.
    using AttributeMap = std::map<const char*, cJSON*, cmp_str>;

    BasePathHandler() = default;
    // The root of a controller's tree; the path is copied.
    BasePathHandler(ApiControllerInterface* controller, const char* root_path);
    BasePathHandler(const BasePathHandler&) = delete;
    BasePathHandler& operator=(const BasePathHandler&) = delete;

    virtual ~BasePathHandler();
    // The operations of the resource; each answers the request, here with 405.
    virtual void readOperation(HabRequest* request);
    virtual void updateOperation(HabRequest* request);
    virtual void deleteOperation(HabRequest* request);
    virtual void createOperation(HabRequest* request);
    // Builds children on first use; runs as long as the node has had no child yet.
    virtual void initSubPathHandlers(ApiControllerInterface* controller);
    // Keys that registerConfigChange() watches have changed; the data is valid during the call.
    virtual void onConfigChange(unsigned int count, const config_data_t* data);
    // True for classes that derive from BaseCollection, and only for them.
    virtual bool isCollectionPathHandler();
    // Drops, or lists in depth-first name order, what the session has subscribed here and below.
    virtual void deleteAllSubscriptionsBelow(unsigned int sessionId);
    virtual void addSubscriptionsBelow(unsigned int sessionId, cJSON* array);

    // Null while the node is not attached below a node that has a path.
    [[nodiscard]] const char* getPath() const { return path ? path->c_str() : nullptr; }

    // Takes ownership of the handler. A child of that name gives up its place but lives as long as this node,
    // because others may still point at it.
    void addSubPathHandler(const char* name, BasePathHandler* handler);
    // Destroys the child of that name, if there is one.
    void deleteSubPathHandler(const char* name);
    // The child, still owned by this node, or null.
    [[nodiscard]] BasePathHandler* findSubPathHandler(const char* name);
    // Places this node, and everything below it, under a new parent (never null).
    void updatePath(BasePathHandler* new_parent, const char* name);
    // For a node that stands alone, outside of a tree.
    void test_setApiAndPath(ApiControllerInterface* controller, const char* new_path);

    // Requests about the session's own subscription on this node; each answers the request.
    using SubscriptionRules::createSubscription;
    using SubscriptionRules::updateSubscription;
    void createSubscription(HabRequest* request);
    void readSubscription(HabRequest* request);
    void updateSubscription(HabRequest* request);
    void deleteSubscription(HabRequest* request);

    // Borrowed, valid until the subscription ends; null when the session has none.
    [[nodiscard]] subscription* getSubscription(unsigned int sessionId);

    // For subclasses, after they changed their data, which stays the caller's.
    void notifyCreated(cJSON* data);
    void notifyUpdated(cJSON* data, AttributeMap* changed);
    void notifyUpdated(cJSON* data, int count, const char** names);
    void notifyDeleted();
    // New objects with deep copies of the changed attributes; names that the data lacks are left out.
    [[nodiscard]] static JsonPtr createUpdatedResponseData(cJSON* data, int count, const char** names);
    [[nodiscard]] static JsonPtr createUpdatedResponseData(AttributeMap* changed);
    // Adds to the map (made when null and needed) the sessions that a change of this node concerns; a session
    // that it holds already keeps its record. Answers the map, or null for nobody. The caller owns the map.
    [[nodiscard]] NotifyMap* buildNotifyToSubscriptionMap(bool recursive_only, NotifyMap* into);

  protected:
    // The key prefix is copied. What a subclass does not deregister ends with the node.
    void registerConfigChange(const char* key);
    void deregisterConfigChange(const char* key);
    // Null, with a line in the log, for a node outside of a tree.
    [[nodiscard]] _cbus_conn_t* getCBusConnection();

    ApiControllerInterface* getApi() const { return api; }

  private:
    using ChildMap = std::map<const char*, std::unique_ptr<BasePathHandler>, cmp_str>;

    static void ChangeCb(unsigned int count, const config_data_t* data, void* ctrl);
    [[nodiscard]] SubscriberNotice notice();

    SubscriptionMap subscriptions;
    std::unique_ptr<ChildMap> subPathHandlers;  // null until the first child is added
    ApiControllerInterface* api = nullptr;
    BasePathHandler* parent = nullptr;
    std::optional<std::string> path;
    std::list<std::unique_ptr<BasePathHandler>> m_replaced_handlers;
    std::vector<std::string> m_watched_keys;
};
