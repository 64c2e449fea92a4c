// SPDX-License-Identifier: MIT

#include "src/http/HabRequestEvent.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <algorithm>
#include <climits>
#include <utility>

#include "runtime/logging.h"
#include "src/base/assertion.h"
#include "src/base/printable_text.h"
#include "src/http/evhttp_hooks.h"
#include "src/http/habhelper.h"
#include "src/http/http_reply.h"

namespace {

constexpr const char* kModule = "src/HabRequestEvent";
constexpr size_t kCookieKeySize = 256;

const char* method_text(evhttp_cmd_type command) {
    switch (command) {
        case EVHTTP_REQ_GET:
            return "GET";
        case EVHTTP_REQ_POST:
            return "POST";
        case EVHTTP_REQ_PUT:
            return "PUT";
        case EVHTTP_REQ_DELETE:
            return "DELETE";
        default:
            return "";
    }
}

// The URI of a request, null when the library does not parse it (or has found the request broken). The parser takes
// what follows two slashes at the start for a host; in a request it is a path like any other, and doubled slashes
// count as one.
UriPtr parse_uri(evhttp_request* req) {
    const char* text = evhttp_request_get_uri(req);
    while (text != nullptr && text[0] == '/' && text[1] == '/') {
        ++text;
    }
    return UriPtr(text == nullptr ? nullptr : evhttp_uri_parse(text));
}

std::string path_of(const evhttp_uri* uri) {
    const char* path = evhttp_uri_get_path(uri);
    return path == nullptr ? "" : path;
}

std::string decode(const std::string& path) {
    std::string decoded(path.size() + 1, '\0');
    const int length =
        decodeURIComponent(path.c_str(), decoded.data(), static_cast<unsigned int>(path.size()));
    decoded.resize(static_cast<size_t>(length));
    return decoded;
}

std::string collapse_slashes(std::string path) {
    const auto end = std::unique(path.begin(), path.end(),
                                 [](char left, char right) { return left == '/' && right == '/'; });
    path.erase(end, path.end());
    return path;
}

}  // namespace

HabRequestEvent::HabRequestEvent(evhttp_request* req) : m_req(req), m_evBuf(evbuffer_new()) {
    ORVALE_ASSERT(m_evBuf != nullptr, "m_evBuf != __null", kModule,
                  "HabRequestEvent::HabRequestEvent(evhttp_request*)");
    if (m_req == nullptr) {
        return;
    }
    if (const UriPtr uri = parse_uri(m_req); uri != nullptr) {
        readUri(uri.get());
    } else {
        const char* text = evhttp_request_get_uri(m_req);
        logger_function(3, kModule, "Could not parse URL '%s'",
                        text == nullptr ? "(null)" : text_for_log(text).c_str());
    }
    method = method_text(evhttp_request_get_command(m_req));
}

HabRequestEvent::~HabRequestEvent() = default;

bool HabRequestEvent::isServable(evhttp_request* req) {
    const char* text = evhttp_request_get_uri(req);
    if (text == nullptr) {
        return false;
    }
    // What nearly every client sends: a path from the root, and nothing in it that could decode to a NUL.
    if (text[0] == '/' && std::strstr(text, "%00") == nullptr) {
        return true;
    }
    const UriPtr uri = parse_uri(req);
    if (uri == nullptr) {
        return true;
    }
    const std::string path = path_of(uri.get());
    return !path.empty() && decode(path).find('\0') == std::string::npos;
}

void HabRequestEvent::readUri(const evhttp_uri* uri) {
    const std::string path = path_of(uri);
    ORVALE_ASSERT(!path.empty(), "decodedUriLen > 0", kModule,
                  "HabRequestEvent::HabRequestEvent(evhttp_request*)");
    setURI(path.c_str());
    const std::string decoded = decode(path);
    setURI(decoded.c_str());

    const char* query = evhttp_uri_get_query(uri);
    setQueryString(query);
    logger_function(7, kModule, "Request URI %s, query %s", text_for_log(getURI()).c_str(),
                    query == nullptr ? "(null)" : text_for_log(query).c_str());
    setURI(collapse_slashes(decoded).c_str());
}

bool HabRequestEvent::releaseAnswer() {
    m_holding = false;
    if (m_answer != Answer::kHeld) {
        return false;
    }
    send();
    return true;
}

int HabRequestEvent::getResponseCode() const {
    return m_req != nullptr && !isAnswered() ? evhttp_request_get_response_code(m_req) : m_answerCode;
}

char* HabRequestEvent::getScriptName() {
    return scriptName;
}

char* HabRequestEvent::getScriptFileName() {
    return scriptFileName;
}

const char* HabRequestEvent::getMethod() {
    return method;
}

const char* HabRequestEvent::getRemoteHost() {
    return http_peer(m_req).host;
}

int HabRequestEvent::getRemotePort() {
    const HttpPeer peer = http_peer(m_req);
    return peer.host == nullptr ? -1 : peer.port;
}

int HabRequestEvent::getContentLength() {
    const char* text = getHeader("Content-Length");
    // strtol saturates, so a number of any size stays in range.
    return text == nullptr ? 0
                           : static_cast<int>(std::clamp(std::strtol(text, nullptr, 10), 0L, long{INT_MAX}));
}

void HabRequestEvent::storeContent(const char*) {}

size_t HabRequestEvent::getRequestContent(char* buf, size_t max) {
    if (m_req == nullptr || buf == nullptr) {
        return 0;
    }
    const int moved = evbuffer_remove(evhttp_request_get_input_buffer(m_req), buf, max);
    return moved < 0 ? 0 : static_cast<size_t>(moved);
}

size_t HabRequestEvent::getRequestContent(char** buffer) {
    ORVALE_ASSERT(buffer != nullptr, "buffer != __null", kModule,
                  "virtual size_t HabRequestEvent::getRequestContent(char**)");
    const size_t length = m_req == nullptr ? 0 : evbuffer_get_length(evhttp_request_get_input_buffer(m_req));
    if (length == 0) {
        return 0;
    }
    *buffer = static_cast<char*>(std::malloc(length));
    return getRequestContent(*buffer, length);
}

void HabRequestEvent::addHeader(const char* name, const char* value) {
    logger_function(7, kModule, "addHeader - name: %s, value: %s", name == nullptr ? "(null)" : name,
                    value == nullptr ? "(null)" : value);
    if (m_req != nullptr) {
        http_add_header(m_req, name, value);
    }
}

const char* HabRequestEvent::getHeader(const char* name) {
    return m_req == nullptr || name == nullptr
               ? nullptr
               : evhttp_find_header(evhttp_request_get_input_headers(m_req), name);
}

void HabRequestEvent::replyAdd(const void* data, size_t len) {
    if (!isAnswered()) {
        evbuffer_add(m_evBuf.get(), data, len);
    }
}

void HabRequestEvent::replyPrintf(const char* fmt, ...) {
    if (!isOpen()) {
        return;
    }
    va_list arguments;
    va_start(arguments, fmt);
    evbuffer_add_vprintf(m_evBuf.get(), fmt, arguments);
    va_end(arguments);
}

void HabRequestEvent::reply(int code, const char* reason, const char*) {
    if (!isOpen()) {
        return;
    }
    const bool isBodyText = evbuffer_get_length(m_evBuf.get()) == 0 && reason != nullptr && reason[0] != '\0';
    if (isBodyText) {
        replyAdd(reason, std::strlen(reason));
        if (evhttp_find_header(evhttp_request_get_output_headers(m_req), "Content-Type") == nullptr) {
            addHeader("Content-Type", "application/json");
        }
    }
    answer(code, isBodyText ? nullptr : reason);
}

void HabRequestEvent::replyFinish() {
    replyFinish(StatusCode::kOk, "OK");
}

void HabRequestEvent::replyFinish(int code, const char* reason) {
    answer(code, reason);
}

void HabRequestEvent::setResponseCookie(const char* name, const char* value, const char*) {
    if (name == nullptr || value == nullptr) {
        return;
    }
    const std::string cookie = std::string(name) + "=" + value + "; Path=/";
    logger_function(7, kModule, "setCookie() : '%s'", cookie.c_str());
    if (m_req != nullptr) {
        http_add_header(m_req, "Set-Cookie", cookie.c_str());
    }
}

char* HabRequestEvent::getRequestCookie(const char* name) {
    return findCookie(getHeader("Cookie"), name);
}

char* HabRequestEvent::getResponseCookie(const char* name) {
    if (name == nullptr || name[0] == '\0') {
        logger_function(7, kModule, "getResponseCookie() Missing name!");
        return nullptr;
    }
    return m_req == nullptr
               ? nullptr
               : findCookie(evhttp_find_header(evhttp_request_get_output_headers(m_req), "Set-Cookie"), name);
}

// A plain search for the name: a longer cookie name that ends in the same letters matches as well. Clients of
// the unit rely on the first match, so the name is not looked for at the start of a cookie only.
char* HabRequestEvent::findCookie(const char* header, const char* name) {
    cookieValue.reset();
    if (header == nullptr || name == nullptr) {
        return nullptr;
    }
    char key[kCookieKeySize];
    std::snprintf(key, sizeof(key), "%s=", name);
    const char* found = std::strstr(header, key);
    if (found == nullptr) {
        return nullptr;
    }
    const char* value = found + std::strlen(key);
    cookieValue.reset(strndup(value, std::strcspn(value, ";")));
    return cookieValue.get();
}

void HabRequestEvent::notFound(const char*) {
    answerWithPage(StatusCode::kNotFound);
}

void HabRequestEvent::internalError() {
    answerWithPage(StatusCode::kInternalServerError);
}

void HabRequestEvent::unauthorized(const char*) {
    answerWithPage(StatusCode::kUnauthorized);
}

int HabRequestEvent::getContentType() {
    const char* accept = getHeader("Accept");
    if (accept == nullptr) {
        return 0;
    }
    logger_function(7, kModule, "Accept header : %s", text_for_log(accept).c_str());
    // A browser names both: HTML wins.
    if (std::strstr(accept, "text/html") != nullptr) {
        return 2;
    }
    return std::strstr(accept, "application/json") != nullptr ? 1 : 0;
}

void HabRequestEvent::answerWithPage(int code) {
    if (isOpen()) {
        http_fill_error_page(m_req, m_evBuf.get(), code, nullptr);
        answer(code, nullptr);
    }
}

void HabRequestEvent::answer(int code, const char* reason) {
    if (!isOpen()) {
        return;
    }
    m_answer = Answer::kHeld;
    m_answerCode = code;
    m_answerReason = reason == nullptr ? StatusCode::reasonPhrase(code) : reason;
    if (!m_holding) {
        send();
    }
}

// The library frees the request once the answer is written, or right here when the connection is gone.
void HabRequestEvent::send() {
    m_answer = Answer::kSent;
    evhttp_hooks_hold_answer(m_req, evbuffer_get_length(m_evBuf.get()));
    http_send_reply(std::exchange(m_req, nullptr), m_answerCode, m_answerReason.c_str(), m_evBuf.get());
}
