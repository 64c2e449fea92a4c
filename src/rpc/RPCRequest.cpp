// SPDX-License-Identifier: MIT

#include "src/rpc/RPCRequest.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "runtime/c_owner.h"
#include "runtime/logging.h"
#include "src/rpc/RPCTransport.h"

namespace {

constexpr const char* kModule = "src/RPCRequest";
constexpr const char* kSessionCookie = "DRHABSESSID";

}  // namespace

RPCRequest::RPCRequest(const char* methodText, const char* uri, const cJSON* params, RPCTransport* transport)
    : m_params(params), m_transport(transport) {
    method = methodText;
    setURI(uri);
}

void RPCRequest::storeContent(const char*) {
    logger_function(7, kModule, "storeContent()!\n");
}

size_t RPCRequest::getRequestContent(char*, size_t) {
    logger_function(7, kModule, "getRequestContent()!\n");
    return 0;
}

size_t RPCRequest::getRequestContent(char**) {
    return getRequestContent(nullptr, 0);
}

const char* RPCRequest::getHeader(const char* name) {
    return name != nullptr && std::strstr(name, "Content-Type") != nullptr ? "application/json" : nullptr;
}

void RPCRequest::replyAdd(const void*, size_t) {
    logger_function(7, kModule, "replyAdd()\n");
}

void RPCRequest::replyPrintf(const char* format, ...) {
    logger_function(7, kModule, "replyPrintf()\n");
    char* printed = nullptr;
    va_list arguments;
    va_start(arguments, format);
    const int length = vasprintf(&printed, format, arguments);
    va_end(arguments);
    if (length < 0) {
        return;
    }
    const MallocedText text(printed);
    logger_function(7, kModule, "String: %s\n", text.get());
    m_replyData += text.get();
}

void RPCRequest::reply(int status, const char* body, const char* path) {
    logger_function(7, kModule, "reply()\n");
    m_resultCode = status;
    if (path != nullptr) {
        m_replyPath = path;
    }
    if (body != nullptr) {
        m_replyData += body;
    }
}

void RPCRequest::replyFinish() {
    logger_function(7, kModule, "replyFinish()\n");
}

void RPCRequest::replyFinish(int status, const char* text) {
    logger_function(7, kModule, "replyFinish(%d,\"%s\")\n", status, text == nullptr ? "(null)" : text);
    m_resultCode = status;
}

void RPCRequest::setResponseCookie(const char* name, const char* value, const char*) {
    if (name != nullptr && std::strcmp(name, kSessionCookie) == 0) {
        m_transport->setSessionId(value);
    }
}

char* RPCRequest::getRequestCookie(const char* name) {
    return name != nullptr && std::strcmp(name, kSessionCookie) == 0 ? m_transport->getSessionId() : nullptr;
}

cJSON* RPCRequest::readJSONBody() {
    logger_function(7, kModule, "readJSONBody");
    return cJSON_Duplicate(m_params, true);
}

void RPCRequest::notFound(const char*) {
    logger_function(7, kModule, "notFound()\n");
    m_resultCode = StatusCode::kNotFound;
}

void RPCRequest::internalError() {
    logger_function(7, kModule, "internalError()\n");
    m_resultCode = StatusCode::kInternalServerError;
}

void RPCRequest::unauthorized(const char*) {
    logger_function(7, kModule, "unauthorized()\n");
    m_resultCode = StatusCode::kUnauthorized;
}

int RPCRequest::getContentType() {
    return 1;
}
