// SPDX-License-Identifier: MIT

#include "src/rest/BaseApiController.h"

#include <cstdint>
#include <cstring>

#include "runtime/logging.h"
#include "src/base/printable_text.h"
#include "src/http/HabSession.h"

namespace {

constexpr const char* kModule = "src/BaseApiController";
constexpr const char* kSubscriptions = "subscriptions";

}  // namespace

const std::array<const char*, 8> BaseApiController::RES_LEVEL_NAMES = {"main_res", "sub1", "sub2", "sub3",
                                                                       "sub4",     "sub5", "sub6", "sub7"};
// Never destroyed: a signal may end the process in the middle of anything, an allocation included.
std::list<BaseApiController*>& BaseApiController::sm_controllers = *new std::list<BaseApiController*>;

BaseApiController::BaseApiController(_cbus_conn_t* conn, NotificationManager* notificationManager,
                                     _fdloop_t* fdloop, const char* apiPath)
    : root(this, apiPath), m_conn(conn), m_notificationManager(notificationManager), m_fdloop(fdloop) {
    sm_controllers.push_back(this);
}

BaseApiController::~BaseApiController() {
    sm_controllers.remove(this);
}

int BaseApiController::create(HabRequest* request) {
    logger_function(7, kModule, "BaseApiController::create");
    handleCrudOperation(CRUD_CREATE, request);
    return 1;
}

int BaseApiController::show(HabRequest* request) {
    logger_function(7, kModule, "BaseApiController::show");
    handleCrudOperation(CRUD_READ, request);
    return 1;
}

int BaseApiController::update(HabRequest* request) {
    logger_function(7, kModule, "BaseApiController::update");
    handleCrudOperation(CRUD_UPDATE, request);
    return 1;
}

int BaseApiController::destroy(HabRequest* request) {
    logger_function(7, kModule, "BaseApiController::destroy");
    handleCrudOperation(CRUD_DELETE, request);
    return 1;
}

void BaseApiController::addPathHandler(const char* name, BasePathHandler* handler) {
    root.addSubPathHandler(name, handler);
}

void BaseApiController::removePathHandler(const char* name) {
    root.deleteSubPathHandler(name);
}

// One step of the walk. False: the path leads nowhere.
bool BaseApiController::enterLevel(Position& position, const char* segment, EntryRule rule) {
    if (position.collection != nullptr) {
        position = Position{position.collection->findEntrySubPathHandler(position.entry, segment)};
    } else if (position.handler->isCollectionPathHandler()) {
        position.collection = static_cast<BaseCollection*>(position.handler);
        position.entry = segment;
        return rule == EntryRule::kAnyName || position.collection->isEntry(segment) ||
               std::strcmp(segment, BaseCollection::kNewEntryName) == 0;
    } else {
        position.handler = position.handler->findSubPathHandler(segment);
    }
    return position.handler != nullptr;
}

bool BaseApiController::walkLevels(HabRequest* request, std::size_t first_level, EntryRule rule,
                                   Position& position) {
    for (std::size_t level = first_level; level < RES_LEVEL_NAMES.size(); ++level) {
        const char* const segment = request->getParameter(RES_LEVEL_NAMES[level]);
        if (segment == nullptr) {
            break;
        }
        if (!enterLevel(position, segment, rule)) {
            return false;
        }
    }
    return true;
}

void BaseApiController::handleCrudOperation(CRUD operation, HabRequest* request) {
    const char* const main_name = request->getParameter(RES_LEVEL_NAMES[0]);
    logger_function(7, kModule, "BaseApiController::handleCrudOperation: main_name: %s",
                    text_or_null(main_name));
    if (main_name == nullptr) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    Position found{root.findSubPathHandler(main_name)};
    if (found.handler == nullptr) {
        if (std::strcmp(main_name, kSubscriptions) != 0 ||
            !handleSubscriptionCrudOperation(operation, request)) {
            request->replyFinish(StatusCode::kNotFound);
        }
        return;
    }
    if (!walkLevels(request, 1, EntryRule::kAnyName, found)) {
        request->replyFinish(StatusCode::kNotFound);
        return;
    }
    if (found.collection != nullptr) {
        logger_function(7, kModule, "handleCrudOperation path: %s/%s",
                        text_or_null(found.collection->getPath()), found.entry);
        handleCrudOperation(operation, request, found.collection, found.entry);
    } else {
        logger_function(7, kModule, "handleCrudOperation path: %s", text_or_null(found.handler->getPath()));
        handleCrudOperation(operation, request, found.handler);
    }
}

void BaseApiController::handleCrudOperation(CRUD operation, HabRequest* request, BasePathHandler* handler) {
    switch (operation) {
        case CRUD_CREATE:
            return handler->createOperation(request);
        case CRUD_READ:
            return handler->readOperation(request);
        case CRUD_UPDATE:
            return handler->updateOperation(request);
        case CRUD_DELETE:
            return handler->deleteOperation(request);
    }
    request->replyFinish(StatusCode::kBadRequest);
}

void BaseApiController::handleCrudOperation(CRUD operation, HabRequest* request, BaseCollection* collection,
                                            const char* entry) {
    switch (operation) {
        case CRUD_READ:
            return collection->readEntryOperation(entry, request);
        case CRUD_UPDATE:
            return collection->updateEntryOperation(entry, request);
        case CRUD_DELETE:
            return collection->deleteEntryOperation(entry, request);
        case CRUD_CREATE:
            break;  // a new entry is created by a create on the collection itself
    }
    request->replyFinish(StatusCode::kBadRequest);
}

bool BaseApiController::handleSubscriptionCrudOperation(CRUD operation, HabRequest* request) {
    const HabSession* const session = request->getSession();
    const char* const session_id = session == nullptr ? nullptr : session->sessionId();
    // Spelling and the odd "0x08" are what log readers look for.
    logger_function(7, kModule, "handleSubscribtionCrudOperation, session: 0x08%x, id: %s",
                    static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(session)),
                    text_or_null(session_id));
    const char* const api_name = request->getParameter(RES_LEVEL_NAMES[1]);
    if (api_name == nullptr) {
        handleSubscriptionCrudOperation(operation, request, nullptr);
        return true;
    }
    if (std::strcmp(api_name, root.getPath() + 1) != 0) {
        return false;
    }
    Position found{&root};
    if (!walkLevels(request, 2, EntryRule::kMustExist, found)) {
        return false;
    }
    if (found.collection != nullptr) {
        handleSubscriptionCrudOperation(operation, request, found.collection, found.entry);
    } else {
        handleSubscriptionCrudOperation(operation, request, found.handler);
    }
    return true;
}

void BaseApiController::handleSubscriptionCrudOperation(CRUD operation, HabRequest* request,
                                                        BasePathHandler* handler) {
    if (handler == nullptr) {
        return handleSubscriptionListOperation(operation, request);
    }
    switch (operation) {
        case CRUD_CREATE:
            return handler->createSubscription(request);
        case CRUD_READ:
            return handler->readSubscription(request);
        case CRUD_UPDATE:
            return handler->updateSubscription(request);
        case CRUD_DELETE:
            return handler->deleteSubscription(request);
    }
    request->replyFinish(StatusCode::kBadRequest);
}

void BaseApiController::handleSubscriptionListOperation(CRUD operation, HabRequest* request) {
    if (operation == CRUD_READ) {
        readAllSubscriptions(request);
    } else if (operation == CRUD_DELETE) {
        deleteAllSubscriptions(request);
    } else {
        request->replyFinish(StatusCode::kBadRequest);
    }
}

void BaseApiController::handleSubscriptionCrudOperation(CRUD operation, HabRequest* request,
                                                        BaseCollection* collection, const char* entry) {
    switch (operation) {
        case CRUD_CREATE:
            return collection->createEntrySubscription(entry, request);
        case CRUD_READ:
            return collection->readEntrySubscription(entry, request);
        case CRUD_UPDATE:
            return collection->updateEntrySubscription(entry, request);
        case CRUD_DELETE:
            return collection->deleteEntrySubscription(entry, request);
    }
    request->replyFinish(StatusCode::kBadRequest);
}

void BaseApiController::readAllSubscriptions(HabRequest* request) {
    logger_function(7, kModule, "readAllSubscriptions()");
    if (const auto session = BasePathHandler::sessionNumber(request)) {
        const JsonPtr array(cJSON_CreateArray());
        root.addSubscriptionsBelow(*session, array.get());
        const JsonText text(cJSON_Print(array.get()));
        request->reply(StatusCode::kOk, text.get(), nullptr);
    }
}

void BaseApiController::deleteAllSubscriptions(HabRequest* request) {
    logger_function(7, kModule, "deleteAllSubscriptions()");
    if (const auto session = BasePathHandler::sessionNumber(request)) {
        root.deleteAllSubscriptionsBelow(*session);
        request->replyFinish(StatusCode::kOk);
    }
}

void BaseApiController::sessionEnded(unsigned int sessionId) {
    for (BaseApiController* const controller : sm_controllers) {
        controller->root.deleteAllSubscriptionsBelow(sessionId);
    }
}
