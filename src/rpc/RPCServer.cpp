// SPDX-License-Identifier: MIT

#include "src/rpc/RPCServer.h"

#include <utility>

#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/rpc/Funct.h"
#include "src/rpc/RPCTransport.h"
#include "src/rpc/TransportListener.h"

namespace {

constexpr const char* kModule = "src/RPCServer";

constexpr const char* kNotification = R"({"jsonrpc": "2.0"})";
constexpr const char* kSuccess = R"({"jsonrpc": "2.0", "result": null, "id": null})";
constexpr const char* kMethodError = R"({"jsonrpc": "2.0", "error": null, "id": null})";
constexpr const char* kInvalidRequest =
    R"({"jsonrpc": "2.0", "error": {"code": -32600, "message": "Invalid Request"}, "id": null})";
constexpr const char* kMethodNotFound =
    R"({"jsonrpc": "2.0", "error": {"code": -32601, "message": "Method not found"}, "id": null})";
constexpr const char* kParseError =
    R"({"jsonrpc": "2.0", "error": {"code": -32700, "message": "Parse error"}, "id": null})";

JsonPtr parse_template(const char* text) {
    return JsonPtr(cJSON_Parse(text));
}

const cJSON* member(const cJSON* object, const char* name) {
    return cJSON_GetObjectItemCaseSensitive(object, name);
}

// The envelope of what a method gave back; `item` may be null.
JsonPtr envelop(bool is_result, JsonPtr item) {
    if (!is_result && item == nullptr) {
        return parse_template(kInvalidRequest);
    }
    JsonPtr response = parse_template(is_result ? kSuccess : kMethodError);
    if (item != nullptr) {
        json_replace(response.get(), is_result ? "result" : "error", std::move(item));
    }
    return response;
}

}  // namespace

void RPCServer::registerMethod(const std::string& name, Funct* method) {
    methods.emplace(name, method);
}

void RPCServer::registerTransportLisetner(TransportListener* listener) {
    ORVALE_ASSERT(m_transportListener == nullptr, "m_transportListener == __null", kModule,
                  "void RPCServer::registerTransportLisetner(TransportListener*)");
    m_transportListener = listener;
}

void RPCServer::handleAddTransport(RPCTransport* transport) {
    if (m_transportListener != nullptr) {
        m_transportListener->addTransport(transport);
    }
}

void RPCServer::handleRemoveTransport(RPCTransport* transport) {
    if (m_transportListener != nullptr) {
        m_transportListener->removeTransport(transport);
    }
    // After the listener, so that nothing is left of what the end of the session itself has queued. By
    // address, not by asking later: the next connection may get the same one.
    queuedNotifications.remove_if([transport](const auto& queued) { return queued.transport == transport; });
    if (m_requester == transport) {
        m_requester = nullptr;
    }
}

void RPCServer::handleMessage(cJSON* message, RPCTransport* transport) {
    ORVALE_ASSERT(message != nullptr, "message != __null", kModule,
                  "void RPCServer::handleMessage(cJSON*, RPCTransport*)");
    busy = true;
    m_requester = transport;
    const JsonPtr response = answerMessage(message, transport);
    if (response != nullptr && m_requester != nullptr) {
        const JsonText text(cJSON_Print(response.get()));
        if (text != nullptr) {
            m_requester->sendData(text.get());
        }
    }
    m_requester = nullptr;
    busy = false;
    sendQueuedNotification();
}

// Null for a notification that its method took.
JsonPtr RPCServer::answerMessage(const cJSON* message, RPCTransport* transport) {
    const cJSON* method = member(message, "method");
    const cJSON* id = member(message, "id");
    // The value of "jsonrpc" is not looked at, and a notification may leave the member out.
    if (!cJSON_IsString(method) || (id != nullptr && member(message, "jsonrpc") == nullptr)) {
        return parse_template(kParseError);
    }

    JsonPtr response;
    if (const auto found = methods.find(method->valuestring); found == methods.end()) {
        // Even for a notification: its sender would never learn of the wrong name otherwise.
        response = parse_template(kMethodNotFound);
    } else {
        bool is_result = false;
        cJSON* params = cJSON_GetObjectItemCaseSensitive(message, "params");
        JsonPtr item(found->second->doit(params, is_result, transport));
        if (id == nullptr) {
            return nullptr;
        }
        response = envelop(is_result, std::move(item));
    }
    // Ids are numbers: any other id, true and false included, is answered with 0.
    const int id_number = id != nullptr && cJSON_IsNumber(id) != 0 ? id->valueint : 0;
    json_replace(response.get(), "id", JsonPtr(cJSON_CreateInt(id_number)));
    return response;
}

void RPCServer::sendNotification(const char* method, cJSON* params, RPCTransport* transport) {
    ORVALE_ASSERT(method != nullptr, "methodName", kModule,
                  "void RPCServer::sendNotification(const char*, cJSON*, RPCTransport*)");
    if (transport != nullptr) {
        sendText(printNotification(method, params), transport);
    }
}

RPCServer::Text RPCServer::printNotification(const char* method, cJSON* params) {
    const JsonPtr notification = parse_template(kNotification);
    cJSON_AddStringToObject(notification.get(), "method", method);
    if (params != nullptr) {
        // A reference, which goes with the notification and leaves the caller's item as it is.
        cJSON_AddItemReferenceToObject(notification.get(), "params", params);
    }
    return JsonText(cJSON_Print(notification.get()));
}

void RPCServer::sendText(const Text& text, RPCTransport* transport) {
    if (text == nullptr) {
        return;
    }
    if (busy) {
        queuedNotifications.push_back({transport, text});
    } else {
        transport->sendData(text.get());
    }
}

void RPCServer::sendQueuedNotification() {
    // Entry by entry from the front: a transport that is removed meanwhile takes its entries out of the list.
    while (!busy && !queuedNotifications.empty()) {
        const QueuedNotification next = std::move(queuedNotifications.front());
        queuedNotifications.pop_front();
        next.transport->sendData(next.text.get());
    }
}
