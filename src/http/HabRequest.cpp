// SPDX-License-Identifier: MIT

#include "src/http/HabRequest.h"

#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <string>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/json_helpers.h"
#include "src/base/printable_text.h"
#include "src/http/HabSession.h"
#include "src/http/habhelper.h"

namespace {

constexpr const char* kModule = "src/HabRequest";

MallocedText copy_text(const char* text) {
    return MallocedText(strdup(text));
}

}  // namespace

HabRequest::~HabRequest() = default;

char* HabRequest::getScriptName() {
    return nullptr;
}

char* HabRequest::getScriptFileName() {
    return nullptr;
}

const char* HabRequest::getMethod() {
    return method;
}

int HabRequest::getHttpMethod() {
    static constexpr const char* kMethods[] = {"GET", "PUT", "POST", "DELETE"};
    int bit = 1;
    for (const char* name : kMethods) {
        if (method != nullptr && std::strcmp(method, name) == 0) {
            return bit;
        }
        bit <<= 1;
    }
    return 0;
}

const char* HabRequest::getRemoteHost() {
    return nullptr;
}

int HabRequest::getRemotePort() {
    return 0;
}

char* HabRequest::getPathInfo() {
    return getParameter("path_info");
}

void HabRequest::setPathInfo(char*) {
    ORVALE_ASSERT(false, "true==false", kModule, "virtual void HabRequest::setPathInfo(char*)");
}

int HabRequest::getContentLength() {
    return 0;
}

void HabRequest::addHeader(const char*, const char*) {}

const char* HabRequest::getHeader(const char*) {
    return nullptr;
}

void HabRequest::replyFinish(StatusCode::Value code) {
    replyFinish(code, StatusCode::reasonPhrase(code));
}

void HabRequest::setResponseCookie(const char*, const char*, const char*) {}

char* HabRequest::getRequestCookie(const char*) {
    return nullptr;
}

cJSON* HabRequest::readJSONBody() {
    const char* contentType = getHeader("Content-Type");
    // The HTTP server refuses larger bodies, so a larger declared length is not worth the memory.
    const auto length = static_cast<size_t>(std::clamp(getContentLength(), 0, kMaxBodyBytes));
    logger_function(7, kModule, "HabRequest::readJSONBody(). Content-Type: %s",
                    contentType == nullptr ? "(null)" : contentType);

    const MallocedText data(static_cast<char*>(std::malloc(length + 1)));
    ORVALE_ASSERT(data != nullptr, "data != __null", kModule, "virtual cJSON* HabRequest::readJSONBody()");
    const size_t received = getRequestContent(data.get(), length);
    if (received == 0) {
        logger_function(7, kModule, "Got no content?");
        return nullptr;
    }

    const std::string text(data.get(), received);
    const char* stopped_at = text.c_str();
    JsonPtr document = json_parse_foreign(text, &stopped_at);
    if (document == nullptr) {
        logger_function(3, kModule, "Error parsing JSON from request body: %s",
                        text_for_log(stopped_at).c_str());
    }
    return document.release();
}

void HabRequest::setURI(const char* uri) {
    if (uri == nullptr) {
        logger_function(7, kModule, "setURI: uri==null");
        return;
    }
    m_requestUri = copy_text(uri);
    logger_function(7, kModule, "setURI: m_requestUri=%s", text_for_log(uri).c_str());
}

void HabRequest::setQueryString(const char* query) {
    if (query == nullptr) {
        return;
    }
    m_queryString = copy_text(query);
    const MallocedText cut = copy_text(query);
    char* pieces[kMaxPieces + 1] = {};
    split(pieces, cut.get(), nullptr, "&");
    for (char** piece = pieces; *piece != nullptr; ++piece) {
        char* equals = std::strchr(*piece, '=');
        if (equals != nullptr) {
            *equals = '\0';
            setParameter(*piece, equals + 1);
        }
    }
}

void HabRequest::setSession(HabSession* session) {
    m_session = session;
    // A body may arrive long after the session was found; a session that expires meanwhile must not vanish.
    m_sessionKept = session == nullptr ? nullptr : session->weak_from_this().lock();
}

void HabRequest::findParameters(const std::list<char*>& names) {
    for (const char* name : names) {
        logger_function(7, kModule, " - %s", name);
    }
}

char* HabRequest::getParameter(const char* name) const {
    const auto found = parameters.find(name);
    return found == parameters.end() ? nullptr : found->second.get();
}

void HabRequest::setParameter(const char* name, const char* value) {
    MallocedText copy = copy_text(value);
    const auto found = parameters.find(name);
    if (found != parameters.end()) {
        found->second = std::move(copy);
    } else {
        parameters.emplace(copy_text(name), std::move(copy));
    }
}

void HabRequest::removeParameter(const char* name) {
    const auto found = parameters.find(name);
    if (found != parameters.end()) {
        parameters.erase(found);
    }
}
