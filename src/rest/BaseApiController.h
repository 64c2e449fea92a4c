// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <cstddef>
#include <list>

#include "src/http/HabController.h"
#include "src/rest/ApiControllerInterface.h"
#include "src/rest/BaseCollection.h"
#include "src/rest/BasePathHandler.h"

// BaseApiController: serves one API path ("/system") with the tree of resources below it, to HTTP and JSON-RPC
// requests alike. It turns the method into one of four operations and finds the resource by the request's
// parameters "main_res", "sub1" .. "sub7".
// Owns:    the tree.
// Borrows: bus connection, notification manager and event loop; they outlive it.
// Threads: loop thread only.
// Errors:  every request is answered, with an error status if need be.
class BaseApiController : public HabController, public ApiControllerInterface {
  public:
    enum CRUD : int { CRUD_CREATE = 0, CRUD_READ = 1, CRUD_UPDATE = 2, CRUD_DELETE = 3 };

    // The API path is copied.
    BaseApiController(_cbus_conn_t* conn, NotificationManager* notificationManager, _fdloop_t* fdloop,
                      const char* apiPath);
    BaseApiController(const BaseApiController&) = delete;
    BaseApiController& operator=(const BaseApiController&) = delete;

    ~BaseApiController() override;
    // Each answers the request and returns 1.
    int create(HabRequest* request) override;
    int show(HabRequest* request) override;
    int update(HabRequest* request) override;
    int destroy(HabRequest* request) override;
    // Hangs the resources into the tree.
    virtual void init() = 0;
    _cbus_conn_t* getCBusConnection() override { return m_conn; }
    NotificationManager* getNotificationManager() override { return m_notificationManager; }
    _fdloop_t* getFdloop() override { return m_fdloop; }

    [[nodiscard]] const char* getApiPath() const { return root.getPath(); }
    // Takes ownership of the handler; the name is borrowed.
    void addPathHandler(const char* name, BasePathHandler* handler);
    void removePathHandler(const char* name);

    // The three stages of a request: find the resource, then run the operation on a node or on an entry.
    void handleCrudOperation(CRUD operation, HabRequest* request);
    void handleCrudOperation(CRUD operation, HabRequest* request, BasePathHandler* handler);
    void handleCrudOperation(CRUD operation, HabRequest* request, BaseCollection* collection,
                             const char* entry);
    // The same for subscriptions below the reserved resource "subscriptions". The first answers false when it
    // leaves the request to the caller, who answers 404; a null handler means the session's whole list.
    [[nodiscard]] bool handleSubscriptionCrudOperation(CRUD operation, HabRequest* request);
    void handleSubscriptionCrudOperation(CRUD operation, HabRequest* request, BasePathHandler* handler);
    void handleSubscriptionCrudOperation(CRUD operation, HabRequest* request, BaseCollection* collection,
                                         const char* entry);
    void readAllSubscriptions(HabRequest* request);
    void deleteAllSubscriptions(HabRequest* request);

    // Drops the subscriptions of the session with this number id in every controller.
    static void sessionEnded(unsigned int sessionId);

  private:
    // Where a walk along the path stands: at a node, or at an entry of a collection when `collection` is set.
    struct Position {
        BasePathHandler* handler;
        BaseCollection* collection = nullptr;
        const char* entry = nullptr;
    };
    enum class EntryRule { kAnyName, kMustExist };

    [[nodiscard]] static bool enterLevel(Position& position, const char* segment, EntryRule rule);
    [[nodiscard]] static bool walkLevels(HabRequest* request, std::size_t first_level, EntryRule rule,
                                         Position& position);

    void handleSubscriptionListOperation(CRUD operation, HabRequest* request);

    static const std::array<const char*, 8> RES_LEVEL_NAMES;
    static std::list<BaseApiController*>& sm_controllers;

    BasePathHandler root;
    _cbus_conn_t* m_conn;
    NotificationManager* m_notificationManager;
    _fdloop_t* m_fdloop;
};
