#include "src/frame/rpc_socket_path.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace {

std::string Path() {
    char path[kRpcSocketPathSize];
    rpc_socket_path(path);
    return path;
}

}  // namespace

TEST(RpcSocketPath, IsThatOfTheUnitWithoutTheTestVariable) {
    unsetenv("MRV_JSON_RPC_TEST");

    EXPECT_EQ(Path(), "/var/run/ORVALE_API");
}

TEST(RpcSocketPath, NamesTheUserWithTheTestVariableWhateverItHolds) {
    setenv("MRV_JSON_RPC_TEST", "", 1);

    EXPECT_EQ(Path(), "/tmp/mrv_json_rpc_" + std::to_string(getuid()));
}
