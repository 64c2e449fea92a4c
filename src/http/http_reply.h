// SPDX-License-Identifier: MIT

#pragma once

struct evbuffer;
struct evhttp_request;

// Answers on the library's requests, for everything that serves HTTP.
// Owns:      a sent request belongs to the library, which frees it when the answer is written, and at once
//            when its connection is gone: it is not touched after the send functions.
// Threads:   loop thread only.
// Errors:    reason and header values lose their control characters, so that no text reaches the client as a
//            line of its own. A null reason stands for the code's phrase.

// Adds a header to the answer; nothing with a null argument.
void http_add_header(evhttp_request* req, const char* name, const char* value);

// Sends the headers added so far and the bytes of `body`, which is left empty (null sends none). Answers that
// have no body by their nature (to HEAD, or with 1xx, 204, 304) are sent without it.
void http_send_reply(evhttp_request* req, int code, const char* reason, evbuffer* body);

// The same as a chunked reply of one chunk. A client of HTTP/1.0 or before, which knows no chunks, gets the
// length instead.
void http_send_chunked_reply(evhttp_request* req, int code, const char* reason, evbuffer* body);

// Makes the answer an error page: replaces the contents of `page`, adds the page's Content-Type to the
// request. The library's own error function would drop the headers already added (session cookie, server
// instance) and close a connection that is good for more requests; this keeps both.
void http_fill_error_page(evhttp_request* req, evbuffer* page, int code, const char* reason);

// Sends the error page.
void http_send_error(evhttp_request* req, int code, const char* reason);
