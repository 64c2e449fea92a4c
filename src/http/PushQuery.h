// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include <event2/keyvalq_struct.h>

struct evhttp_request;

// PushQuery: what the address of a push request asks for: "/activity?channel=NAME&fromId=NUMBER".
// Borrows: path and query of the request, which outlives this object.
// Owns:    what the other texts point at.
class PushQuery {
  public:
    explicit PushQuery(evhttp_request* req);
    PushQuery(const PushQuery&) = delete;
    PushQuery& operator=(const PushQuery&) = delete;
    ~PushQuery();

    [[nodiscard]] const char* path() const;
    // Null when the address has none.
    [[nodiscard]] const char* query() const;
    // Null without a channel; an empty name is none.
    [[nodiscard]] const char* channel() const;
    // As sent; null when absent.
    [[nodiscard]] const char* fromIdText() const;
    // 0, which stands for all events, when absent or no number.
    [[nodiscard]] unsigned long fromId() const;

  private:
    evhttp_request* m_request;
    evkeyvalq m_parameters{};
};
