// SPDX-License-Identifier: MIT

#include "src/http/HabController.h"

#include <cstring>

#include "runtime/logging.h"
#include "src/base/owners.h"
#include "src/base/printable_text.h"
#include "src/http/HabRequest.h"

namespace {

constexpr const char* kModule = "src/HabController";

int unhandled(const char* entry) {
    logger_function(7, kModule, "HabController::%s", entry);
    return 0;
}

}  // namespace

int HabController::handleRequest(HabRequest* request) {
    const char* method = request->getMethod();
    const char* uri = request->getURI();
    const char* query = request->getQueryString();
    logger_function(7, kModule, "HabController::handleRequest: %s URI: %s, query: %s", method,
                    text_for_log(uri != nullptr ? uri : "(null)").c_str(),
                    text_for_log(query != nullptr ? query : "").c_str());
    int result = 0;
    if (std::strcmp(method, "GET") == 0) {
        result = show(request);
    }
    if (std::strcmp(method, "POST") == 0) {
        result = create(request);
    }
    if (std::strcmp(method, "PUT") == 0) {
        result = update(request);
    }
    if (std::strcmp(method, "DELETE") == 0) {
        result = destroy(request);
    }
    if (result == 0) {
        logger_function(3, kModule, "Request not successfully handled!");
        request->replyFinish(StatusCode::kBadRequest);
    }
    return 1;
}

bool HabController::isStreaming(HabRequest* /*request*/) {
    return false;
}

int HabController::index(HabRequest* /*request*/) {
    return unhandled("index");
}

int HabController::create(HabRequest* /*request*/) {
    return unhandled("create");
}

int HabController::show(HabRequest* /*request*/) {
    return unhandled("show");
}

int HabController::update(HabRequest* /*request*/) {
    return unhandled("update");
}

// The log has always called this entry by the name of its method.
int HabController::destroy(HabRequest* /*request*/) {
    return unhandled("delete");
}

void HabController::sendReplyFinish(HabRequest* request, const cJSON* body, int status, const char* text) {
    if (body != nullptr) {
        const JsonText printed(cJSON_Print(body));
        request->addHeader("Content-Type", "application/json");
        request->replyPrintf("%s", printed ? printed.get() : "");
    }
    request->replyFinish(status, text);
}

void HabController::error(HabRequest* request, const cJSON* body, StatusCode::Value status) {
    sendReplyFinish(request, body, status, StatusCode::reasonPhrase(status));
}

void HabController::error(HabRequest* request, const cJSON* body, int status, const char* text) {
    sendReplyFinish(request, body, status, text);
}

void HabController::respond(HabRequest* request, const cJSON* body) {
    sendReplyFinish(request, body, StatusCode::kOk, "OK");
}

int HabController::getRequestContentType(HabRequest* request) {
    return request->getContentType();
}

int HabController::getEntityContentType(HabRequest* request) {
    const char* type = request->getHeader("Content-Type");
    if (type == nullptr) {
        return 0;
    }
    if (std::strstr(type, "text/html") != nullptr) {
        return 2;
    }
    return std::strstr(type, "application/json") != nullptr ? 1 : 0;
}
