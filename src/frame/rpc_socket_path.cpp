#include "src/frame/rpc_socket_path.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>

void rpc_socket_path(char (&path)[kRpcSocketPathSize]) {
    if (getenv("MRV_JSON_RPC_TEST") != nullptr) {
        std::snprintf(path, sizeof path, "/tmp/mrv_json_rpc_%u", getuid());
    } else {
        std::snprintf(path, sizeof path, "/var/run/ORVALE_API");
    }
}
