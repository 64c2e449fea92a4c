#include <cstdint>
#include <string>
#include <vector>

#include "src/base/owners.h"
#include "src/http/HabRequestEvent.h"
#include "src/http/habhelper.h"

// A request target: its path and query the way a request object takes them apart.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string target(reinterpret_cast<const char*>(data), size);
    const UriPtr uri(evhttp_uri_parse(target.c_str()));
    HabRequestEvent request(nullptr);
    if (uri) {
        request.setURI(evhttp_uri_get_path(uri.get()));
        request.setQueryString(evhttp_uri_get_query(uri.get()));
    }
    request.setQueryString(target.c_str());
    static_cast<void>(request.getParameter("a"));
    std::vector<char> decoded(target.size() + 1);
    decodeURIComponent(target.c_str(), decoded.data(), static_cast<unsigned int>(target.size()));
    normalizeString(decoded.data());
    return 0;
}
