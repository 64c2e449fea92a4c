// SPDX-License-Identifier: MIT

#include "src/http/PushQuery.h"

#include <cstdlib>

#include <event2/http.h>

#include "src/http/habhelper.h"

PushQuery::PushQuery(evhttp_request* req) : m_request(req) {
    evhttp_parse_query_str(orEmpty(query()), &m_parameters);
}

PushQuery::~PushQuery() {
    evhttp_clear_headers(&m_parameters);
}

const char* PushQuery::path() const {
    return orEmpty(evhttp_uri_get_path(evhttp_request_get_evhttp_uri(m_request)));
}

const char* PushQuery::query() const {
    return evhttp_uri_get_query(evhttp_request_get_evhttp_uri(m_request));
}

const char* PushQuery::channel() const {
    const char* name = evhttp_find_header(&m_parameters, "channel");
    return name != nullptr && *name != '\0' ? name : nullptr;
}

const char* PushQuery::fromIdText() const {
    return evhttp_find_header(&m_parameters, "fromId");
}

unsigned long PushQuery::fromId() const {
    const char* text = fromIdText();
    return text != nullptr ? std::strtoul(text, nullptr, 10) : 0;
}
