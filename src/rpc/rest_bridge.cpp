// SPDX-License-Identifier: MIT

#include "src/rpc/rest_bridge.h"

#include <cstring>

#include "src/base/json_helpers.h"
#include "src/http/HabDispatcher.h"
#include "src/http/HabSession.h"
#include "src/http/StatusCode.h"
#include "src/rpc/NotificationManager.h"
#include "src/rpc/RPCRequest.h"
#include "src/rpc/RPCTransport.h"

RPCTransport* RestMethod::client = nullptr;

namespace {

// As much as a request over HTTP has for its headers; a longer path is refused there as well.
constexpr std::size_t kMaxPathBytes = 65536;

void bind_session(const RPCRequest& request, RPCTransport* transport, NotificationManager* notifications) {
    HabSession* session = request.getSession();
    const unsigned int former = transport->getSessionNumberId();
    if (session == nullptr || session->getNumberId() == former) {
        return;
    }
    // Nobody but the connection holds it: nothing is subscribed under it, and a connection of years has many such.
    if (former != 0 && HabSessionImpl::holdsOf(former) <= 1) {
        notifications->removeSession(former);
        transport->forgetSession();
    }
    transport->setSessionNumberId(session->getNumberId());
    transport->setSessionHold(HabSessionImpl::hold(session, HabSessionImpl::HeldBy::kConnection));
    notifications->addTransport(transport);
}

void dispatch(RPCRequest& request, RPCTransport* transport, NotificationManager* notifications) {
    if (transport->getSessionId() == nullptr) {
        HabDispatcher::setHandler(&request);
        bind_session(request, transport, notifications);
    }
    HabDispatcher::dispatchRequest(&request);
    // A session that sat idle too long has been replaced on the way, and what is subscribed from now on
    // belongs to the new one. The old number stays known: its subscriptions are this connection's as well.
    if (RPCTransport::isValid(transport)) {
        bind_session(request, transport, notifications);
    }
}

JsonPtr result_object(const RPCRequest& request, const char* path, bool& isResult) {
    JsonPtr result(cJSON_CreateObject());
    const int code = request.getResultCode();
    cJSON_AddNumberToObject(result.get(), "code", code);
    if (code == StatusCode::kCreated) {
        const std::string& created = request.getReplyPath();
        cJSON_AddStringToObject(result.get(), "path", created.empty() ? path : created.c_str());
    }
    json_add(result.get(), "data", JsonPtr(cJSON_Parse(request.getReplyData().c_str())));
    isResult = code >= 200 && code <= 299;
    if (!isResult) {
        cJSON_AddStringToObject(result.get(), "message", StatusCode::reasonPhrase(code));
    }
    return result;
}

}  // namespace

cJSON* bridgeRESTCall(const char* method, cJSON* params, bool& isResult, RPCTransport* transport,
                      NotificationManager* notificationManager) {
    isResult = false;
    const JsonPtr path(cJSON_DetachItemFromObjectCaseSensitive(params, "path"));
    if (!cJSON_IsString(path.get())) {
        return nullptr;
    }
    RPCRequest request(method, path->valuestring, params, transport);
    if (std::strlen(path->valuestring) > kMaxPathBytes) {
        request.replyFinish(StatusCode::kBadRequest);
    } else {
        dispatch(request, transport, notificationManager);
    }
    return result_object(request, path->valuestring, isResult).release();
}

cJSON* RestMethod::doit(cJSON* params, bool& isResult, RPCTransport* transport) {
    client = transport;
    JsonPtr answer(bridgeRESTCall(m_method, params, isResult, transport, m_notificationManager));
    client = nullptr;
    return answer.release();
}
