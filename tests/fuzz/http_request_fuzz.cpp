// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <event2/http.h>
#include <event2/http_struct.h>

#include "fuzz_check.h"
#include "src/base/owners.h"
#include "src/http/HabRequestEvent.h"
#include "src/http/PushQuery.h"
#include "src/http/habhelper.h"

namespace {

using RequestPtr = COwned<evhttp_request, evhttp_request_free>;

std::string decode(const std::string& text) {
    std::string decoded(text.size() + 1, '\0');
    decoded.resize(static_cast<size_t>(
        decodeURIComponent(text.c_str(), decoded.data(), static_cast<unsigned int>(text.size()))));
    return decoded;
}

// Every byte in its encoded form.
std::string encode(std::string_view text) {
    std::string encoded;
    for (const char c : text) {
        char piece[4];
        std::snprintf(piece, sizeof piece, "%%%02x", static_cast<unsigned char>(c));
        encoded += piece;
    }
    return encoded;
}

void check_target(const std::string& target) {
    const UriPtr uri(evhttp_uri_parse(target.c_str()));
    HabRequestEvent request(nullptr);
    if (uri) {
        request.setURI(evhttp_uri_get_path(uri.get()));
        request.setQueryString(evhttp_uri_get_query(uri.get()));
    }
    request.setQueryString(target.c_str());
    fuzz_check(request.getQueryString() == target);
    request.setParameter("fuzz", target.c_str());
    fuzz_check(request.getParameter("fuzz") == target);
}

// The same text where the library has found it in a request line.
void check_request(const std::string& target) {
    const RequestPtr library_request(evhttp_request_new(nullptr, nullptr));
    library_request->type = EVHTTP_REQ_GET;
    library_request->uri = strdup(target.c_str());
    library_request->uri_elems = evhttp_uri_parse_with_flags(target.c_str(), EVHTTP_URI_NONCONFORMANT);
    if (library_request->uri_elems != nullptr) {
        const PushQuery query(library_request.get());
        fuzz_check(query.channel() == nullptr || *query.channel() != '\0');
        fuzz_check(query.fromId() == 0 || query.fromIdText() != nullptr);
    }
    if (!HabRequestEvent::isServable(library_request.get())) {
        return;
    }
    HabRequestEvent request(library_request.get());
    const char* uri = request.getURI();
    fuzz_check(uri == nullptr || (*uri != '\0' && std::strstr(uri, "//") == nullptr));
}

void check_decoding(const std::string& text) {
    const std::string decoded = decode(text);
    fuzz_check(decoded.size() <= text.size());
    fuzz_check(text.find('%') != std::string::npos || decoded == text);
    fuzz_check(decode(encode(text)) == text);
    std::string normalized = text;
    fuzz_check(normalizeString(normalized.data()) == static_cast<int>(text.size()) &&
               std::strlen(normalized.c_str()) == text.size());
}

void check_cookie(const std::string& header) {
    const RequestPtr library_request(evhttp_request_new(nullptr, nullptr));
    const bool is_header = evhttp_add_header(evhttp_request_get_input_headers(library_request.get()),
                                             "Cookie", header.c_str()) == 0;
    HabRequestEvent request(library_request.get());
    const char* value = request.getRequestCookie("DRHABSESSID");
    const bool has_cookie = is_header && header.find("DRHABSESSID=") != std::string::npos;
    fuzz_check((value != nullptr) == has_cookie);
    if (value != nullptr) {
        fuzz_check(std::strchr(value, ';') == nullptr);
        fuzz_check(header.find("DRHABSESSID=" + std::string(value)) != std::string::npos);
    }
}

}  // namespace

// A text as the target of a request, as what is encoded in it, and as its cookies.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input(reinterpret_cast<const char*>(data), size);
    const std::string text(input.substr(0, input.find('\0')));
    check_target(text);
    check_request(text);
    check_decoding(text);
    check_cookie(text);
    return 0;
}
