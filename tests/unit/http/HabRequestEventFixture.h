// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "HttpFixture.h"
#include "src/http/HabRequestEvent.h"

// HabRequestEventOverHttp: a handler of the test's works on the request object of what a raw client sends.
class HabRequestEventOverHttp : public HttpFixture {
  protected:
    using Handler = std::function<void(HabRequestEvent&)>;

    // What the client gets when the handler works on its request; the request is answered in any case.
    std::string exchange(const std::string& request, const Handler& handler) {
        handle(handler);
        return connect().exchange(request);
    }
    std::string get(const std::string& target, const std::string& headers, const Handler& handler) {
        return exchange("GET " + target + " HTTP/1.1\r\n" + headers + "\r\n", handler);
    }
    std::string get(const Handler& handler) { return get("/", "", handler); }
    static std::string postText(const std::string& body) {
        return "POST / HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    void handle(const Handler& handler) {
        onRequest = [handler](evhttp_request* req) {
            HabRequestEvent request(req);
            handler(request);
            request.replyFinish();
        };
    }

    // Whether the server may make a request object for the target.
    bool isServable(const std::string& target) {
        bool servable = false;
        onRequest = [&](evhttp_request* req) {
            servable = HabRequestEvent::isServable(req);
            evhttp_send_reply(req, 200, "OK", nullptr);
        };
        connect().exchange("GET " + target + " HTTP/1.1\r\n\r\n");
        return servable;
    }

    std::string uriOf(const std::string& target) {
        std::string uri;
        get(target, "", [&](HabRequestEvent& request) { uri = request.getURI(); });
        return uri;
    }

    std::string methodOf(const std::string& name) {
        std::string seen;
        exchange(name + " / HTTP/1.1\r\n\r\n", [&](HabRequestEvent& request) {
            seen = std::string(request.getMethod()) + " " + std::to_string(request.getHttpMethod());
        });
        return seen;
    }

    int acceptedTypeOf(const std::string& headers) {
        int type = -1;
        get("/", headers, [&](HabRequestEvent& request) { type = request.getContentType(); });
        return type;
    }

    // The library refuses such lengths itself, so the header is put in its place afterwards.
    int lengthDeclaredAs(const char* text) {
        int length = -1;
        onRequest = [&](evhttp_request* req) {
            evhttp_add_header(evhttp_request_get_input_headers(req), "Content-Length", text);
            HabRequestEvent request(req);
            length = request.getContentLength();
            request.replyFinish();
        };
        connect().exchange("GET / HTTP/1.1\r\n\r\n");
        return length;
    }

    std::string requestCookie(const std::string& header, const char* name) {
        std::string value;
        get("/", "Cookie: " + header + "\r\n", [&](HabRequestEvent& request) {
            const char* found = request.getRequestCookie(name);
            value = found == nullptr ? "(null)" : found;
        });
        return value;
    }
};
