// SPDX-License-Identifier: MIT

#include "src/frame/RPCTransportListener.h"

#include "runtime/logging.h"
#include "src/http/HabDispatcher.h"
#include "src/rest/BaseApiController.h"
#include "src/rpc/NotificationManager.h"
#include "src/rpc/RPCTransport.h"

void RPCTransportListener::addTransport(RPCTransport*) {
    logger_function(6, "src/web_app", "addTransport()");
}

void RPCTransportListener::removeTransport(RPCTransport* transport) {
    logger_function(6, "src/web_app", "removeTransport()");
    m_notificationManager->removeTransport(transport);
    if (transport->getSessionId() != nullptr) {
        for (const unsigned int former : transport->getFormerSessionNumberIds()) {
            BaseApiController::sessionEnded(former);
        }
        BaseApiController::sessionEnded(transport->getSessionNumberId());
        HabDispatcher::sessionEnded(transport->getSessionId());
    }
}
