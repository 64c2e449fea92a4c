// SPDX-License-Identifier: MIT

#include "src/http/StatusCode.h"

namespace {

struct Phrase {
    int code;
    const char* text;
};

constexpr Phrase kPhrases[] = {
    {StatusCode::kContinue, "Continue"},
    {StatusCode::kSwitchingProtocols, "Switching Protocols"},
    {StatusCode::kOk, "OK"},
    {StatusCode::kCreated, "Created"},
    {StatusCode::kAccepted, "Accepted"},
    {StatusCode::kNonAuthoritativeInformation, "Non-Authoritative Information"},
    {StatusCode::kNoContent, "No Content"},
    {StatusCode::kResetContent, "Reset Content"},
    {StatusCode::kPartialContent, "Partial Content"},
    {StatusCode::kMultipleChoices, "Multiple Choices"},
    {StatusCode::kMovedPermanently, "Moved Permanently"},
    {StatusCode::kFound, "Found"},
    {StatusCode::kSeeOther, "See Other"},
    {StatusCode::kNotModified, "Not Modified"},
    {StatusCode::kUseProxy, "Use Proxy"},
    {StatusCode::kTemporaryRedirect, "Temporary Redirect"},
    {StatusCode::kBadRequest, "Bad Request"},
    {StatusCode::kUnauthorized, "Unauthorized"},
    {StatusCode::kPaymentRequired, "Payment Required"},
    {StatusCode::kForbidden, "Forbidden"},
    {StatusCode::kNotFound, "Not Found"},
    {StatusCode::kMethodNotAllowed, "Method Not Allowed"},
    {StatusCode::kNotAcceptable, "Not Acceptable"},
    {StatusCode::kProxyAuthenticationRequired, "Proxy Authentication Required"},
    {StatusCode::kRequestTimeout, "Request Time-out"},
    {StatusCode::kConflict, "Conflict"},
    {StatusCode::kGone, "Gone"},
    {StatusCode::kLengthRequired, "Length Required"},
    {StatusCode::kPreconditionFailed, "Precondition Failed"},
    {StatusCode::kRequestEntityTooLarge, "Request Entity Too Large"},
    {StatusCode::kRequestUriTooLarge, "Request-URI Too Large"},
    {StatusCode::kUnsupportedMediaType, "Unsupported Media Type"},
    {StatusCode::kRequestedRangeNotSatisfiable, "Requested range not satisfiable"},
    {StatusCode::kExpectationFailed, "Expectation Failed"},
    {StatusCode::kInternalServerError, "Internal Server Error"},
    {StatusCode::kNotImplemented, "Not Implemented"},
    {StatusCode::kBadGateway, "Bad Gateway"},
    {StatusCode::kServiceUnavailable, "Service Unavailable"},
    {StatusCode::kGatewayTimeout, "Gateway Time-out"},
    {StatusCode::kHttpVersionNotSupported, "HTTP Version not supported"},
};

}  // namespace

const char* StatusCode::reasonPhrase(int code) noexcept {
    for (const Phrase& phrase : kPhrases) {
        if (phrase.code == code) {
            return phrase.text;
        }
    }
    return "-";
}
