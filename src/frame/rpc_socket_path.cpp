// SPDX-License-Identifier: MIT

#include "src/frame/rpc_socket_path.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char* kDefaultPath = "/var/run/ORVALE_API";

const char* installed_path() {
    const char* path = getenv("ORVALE_RPC_SOCKET");
    const std::string_view text = path != nullptr ? path : "";
    return text.starts_with('/') && text.size() < kRpcSocketPathSize ? path : kDefaultPath;
}

}  // namespace

void rpc_socket_path(char (&path)[kRpcSocketPathSize]) {
    if (getenv("MRV_JSON_RPC_TEST") != nullptr) {
        std::snprintf(path, sizeof path, "/tmp/mrv_json_rpc_%u", getuid());
    } else {
        std::snprintf(path, sizeof path, "%s", installed_path());
    }
}
