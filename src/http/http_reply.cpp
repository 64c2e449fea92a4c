// SPDX-License-Identifier: MIT

#include "src/http/http_reply.h"

#include <string>

#include <event2/buffer.h>
#include <event2/http.h>
#include <event2/http_struct.h>

#include "src/base/owners.h"
#include "src/http/StatusCode.h"

namespace {

std::string without_controls(const char* text) {
    std::string clean(text);
    std::erase_if(clean, [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
    return clean;
}

std::string reason_or_phrase(int code, const char* reason) {
    return without_controls(reason == nullptr ? StatusCode::reasonPhrase(code) : reason);
}

// The library would write the bytes of a body after every answer, also where the client expects none and
// takes them for the beginning of the next answer on the connection.
bool answer_has_body(evhttp_request* req, int code) {
    return evhttp_request_get_command(req) != EVHTTP_REQ_HEAD && code >= StatusCode::kOk &&
           code != StatusCode::kNoContent && code != StatusCode::kNotModified;
}

}  // namespace

void http_add_header(evhttp_request* req, const char* name, const char* value) {
    if (name != nullptr && value != nullptr) {
        evhttp_add_header(evhttp_request_get_output_headers(req), name, without_controls(value).c_str());
    }
}

void http_send_reply(evhttp_request* req, int code, const char* reason, evbuffer* body) {
    if (body != nullptr && !answer_has_body(req, code)) {
        evbuffer_drain(body, evbuffer_get_length(body));
    }
    evhttp_send_reply(req, code, reason_or_phrase(code, reason).c_str(), body);
}

void http_send_chunked_reply(evhttp_request* req, int code, const char* reason, evbuffer* body) {
    if (req->major < 1 || (req->major == 1 && req->minor == 0)) {
        http_add_header(req, "Content-Length", std::to_string(evbuffer_get_length(body)).c_str());
    }
    evhttp_send_reply_start(req, code, reason_or_phrase(code, reason).c_str());
    evhttp_send_reply_chunk(req, body);
    evhttp_send_reply_end(req);
}

void http_fill_error_page(evhttp_request* req, evbuffer* page, int code, const char* reason) {
    const std::string text = reason_or_phrase(code, reason);
    evkeyvalq* headers = evhttp_request_get_output_headers(req);
    evhttp_remove_header(headers, "Content-Type");
    evhttp_add_header(headers, "Content-Type", "text/html");
    evbuffer_drain(page, evbuffer_get_length(page));
    evbuffer_add_printf(page,
                        "<HTML><HEAD>\n<TITLE>%d %s</TITLE>\n</HEAD><BODY>\n<H1>%s</H1>\n</BODY></HTML>\n",
                        code, text.c_str(), text.c_str());
}

void http_send_error(evhttp_request* req, int code, const char* reason) {
    const BufferPtr page(evbuffer_new());
    if (page != nullptr) {
        http_fill_error_page(req, page.get(), code, reason);
    }
    http_send_reply(req, code, reason, page.get());
}
