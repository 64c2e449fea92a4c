// SPDX-License-Identifier: MIT

#include "src/http/http_framing.h"

#include <strings.h>

#include <algorithm>
#include <string_view>

#include <event2/http.h>
#include <event2/keyvalq_struct.h>

namespace {

bool is_name(std::string_view name) {
    const auto isVisible = [](char c) { return c > ' ' && c < 0x7f; };
    return !name.empty() && std::ranges::all_of(name, isVisible);
}

// Digits only: the library would also take a sign.
bool is_length(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

bool is_zero(std::string_view length) {
    return length.find_first_not_of('0') == std::string_view::npos;
}

std::string_view without_blanks(std::string_view text) {
    const size_t first = std::min(text.find_first_not_of(" \t"), text.size());
    text.remove_prefix(first);
    return text.substr(0, text.find_last_not_of(" \t") + 1);
}

}  // namespace

bool http_framing_is_clear(evhttp_request* req) {
    std::string_view length;
    bool isChunked = false;
    const evkeyvalq* headers = evhttp_request_get_input_headers(req);
    for (const evkeyval* header = headers->tqh_first; header != nullptr; header = header->next.tqe_next) {
        if (!is_name(header->key)) {
            return false;
        }
        if (strcasecmp(header->key, "Content-Length") == 0) {
            const std::string_view value = without_blanks(header->value);
            if (!is_length(value) || (!length.empty() && length != value)) {
                return false;
            }
            length = value;
        } else if (strcasecmp(header->key, "Transfer-Encoding") == 0) {
            // As the library has left it: which other spellings count as this one depends on its version.
            if (isChunked || strcasecmp(header->value, "chunked") != 0) {
                return false;
            }
            isChunked = true;
        }
    }
    const bool hasBody = isChunked || !is_zero(length);
    return !(isChunked && !length.empty()) &&
           !(hasBody && evhttp_request_get_command(req) == EVHTTP_REQ_HEAD);
}
