// SPDX-License-Identifier: MIT

#pragma once

struct evhttp_request;

// Whether the headers of a request leave no doubt where it ends. The library passes over what it cannot read here (an
// unknown transfer coding, a second length, a blank in front of a colon, a body behind HEAD) and would take the body
// for the next request, while a proxy in front may see one request: what it let through could carry another, hidden.
// A request that is in doubt is refused, and its connection closed with it.
[[nodiscard]] bool http_framing_is_clear(evhttp_request* req);
