// SPDX-License-Identifier: MIT

#pragma once

// StatusCode: the status codes of both transports, HTTP and JSON-RPC, and the one table of their reason
// phrases.
namespace StatusCode {

enum Value : int {
    kContinue = 100,
    kSwitchingProtocols = 101,
    kOk = 200,
    kCreated = 201,
    kAccepted = 202,
    kNonAuthoritativeInformation = 203,
    kNoContent = 204,
    kResetContent = 205,
    kPartialContent = 206,
    kMultipleChoices = 300,
    kMovedPermanently = 301,
    kFound = 302,
    kSeeOther = 303,
    kNotModified = 304,
    kUseProxy = 305,
    kTemporaryRedirect = 307,
    kBadRequest = 400,
    kUnauthorized = 401,
    kPaymentRequired = 402,
    kForbidden = 403,
    kNotFound = 404,
    kMethodNotAllowed = 405,
    kNotAcceptable = 406,
    kProxyAuthenticationRequired = 407,
    kRequestTimeout = 408,
    kConflict = 409,
    kGone = 410,
    kLengthRequired = 411,
    kPreconditionFailed = 412,
    kRequestEntityTooLarge = 413,
    kRequestUriTooLarge = 414,
    kUnsupportedMediaType = 415,
    kRequestedRangeNotSatisfiable = 416,
    kExpectationFailed = 417,
    kInternalServerError = 500,
    kNotImplemented = 501,
    kBadGateway = 502,
    kServiceUnavailable = 503,
    kGatewayTimeout = 504,
    kHttpVersionNotSupported = 505,
};

// The phrase of a code, "-" for a code that has none. A static text: never null, never freed.
[[nodiscard]] const char* reasonPhrase(int code) noexcept;

}  // namespace StatusCode
