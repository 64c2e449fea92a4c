#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config_client/config_client_api.h"
#include "src/base/owners.h"
#include "src/http/HabRequest.h"
#include "src/rest/ApiControllerInterface.h"

// BasePathHandler: one resource in the tree of a controller. A class that overrides nothing is a container that
// gives its children their place in the path.
// Owns:      its children, its subscriptions, its path and its registrations for configuration changes.
// Borrows:   the names of its children (string literals in practice), its parent and the controller; all of
//            them outlive it.
// Threads:   loop thread only.
// Callbacks: a notification may end the session that it is sent to; subscriptions vanish then, nodes do not.
// Errors:    every failure of a request is answered on the request as an HTTP status.
class BasePathHandler {
  public:
    enum class DataInclude : std::uint32_t { kAll = 0, kUpdated = 1, kNone = 2 };

    // What one session wants to hear of one node.
    struct subscription {
        bool recursive = false;  // also of changes of nodes below this one
        DataInclude data_include = DataInclude::kAll;
    };

    // By the session's number id.
    using SubscriptionMap = std::map<unsigned int, subscription>;
    // Whom to notify; the records are borrowed.
    using NotifyMap = std::map<unsigned int, subscription*>;
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
    [[nodiscard]] const char* getPath() const { return path.get(); }

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

    // Requests about the session's own subscription on this node; each answers the request (401 without a
    // session).
    void createSubscription(HabRequest* request);
    void readSubscription(HabRequest* request);
    void updateSubscription(HabRequest* request);
    void deleteSubscription(HabRequest* request);

    // Borrowed, valid until the subscription ends; null when the session has none.
    [[nodiscard]] subscription* getSubscription(unsigned int sessionId);
    [[nodiscard]] static subscription createSubscription(const cJSON* params);
    static void updateSubscription(subscription* record, const cJSON* params);
    // 202 for valid parameters, else 400. Null (no parameters) is valid for a create alone.
    [[nodiscard]] static int validateSubscriptionCreateParams(const cJSON* params);
    [[nodiscard]] static int validateSubscriptionUpdateParams(const cJSON* params);
    [[nodiscard]] static JsonPtr createSubscriptionJson(const char* api_path, const subscription* record);

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
    // The payload of a JSON request: the member "data" of its body; null when there is none.
    [[nodiscard]] static JsonPtr readRequestData(HabRequest* request);

    // The shared halves of the subscription requests on nodes and on entries of collections. Where they answer
    // false or null, the request has been answered.
    [[nodiscard]] static HabSession* sessionOf(HabRequest* request);
    [[nodiscard]] static bool acceptSubscription(HabRequest* request, const subscription* existing,
                                                 subscription* accepted);
    static void replySubscription(HabRequest* request, int status, const JsonPtr& record);
    static void applySubscriptionUpdate(HabRequest* request, subscription* record);
    static void gatherSubscriptions(SubscriptionMap& records, bool recursive_only,
                                    std::unique_ptr<NotifyMap>& into);

    ApiControllerInterface* getApi() const { return api; }

  private:
    using ChildMap = std::map<const char*, std::unique_ptr<BasePathHandler>, cmp_str>;

    static void ChangeCb(unsigned int count, const config_data_t* data, void* ctrl);
    void setPath(MallocedText new_path);

    SubscriptionMap subscriptions;
    std::unique_ptr<ChildMap> subPathHandlers;  // null until the first child is added
    ApiControllerInterface* api = nullptr;
    BasePathHandler* parent = nullptr;
    MallocedText path;
    std::list<std::unique_ptr<BasePathHandler>> m_replaced_handlers;
    std::vector<std::string> m_watched_keys;
};
