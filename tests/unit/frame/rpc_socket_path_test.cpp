// SPDX-License-Identifier: MIT

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

class RpcSocketPath : public testing::Test {
  protected:
    RpcSocketPath() { Forget(); }
    ~RpcSocketPath() override { Forget(); }

    static void Forget() {
        unsetenv("MRV_JSON_RPC_TEST");
        unsetenv("ORVALE_RPC_SOCKET");
    }
};

}  // namespace

TEST_F(RpcSocketPath, IsThatOfTheUnitWithoutAVariable) {
    EXPECT_EQ(Path(), "/var/run/ORVALE_API");
}

TEST_F(RpcSocketPath, IsTheOneThatTheEnvironmentNames) {
    setenv("ORVALE_RPC_SOCKET", "/run/orvale/api", 1);

    EXPECT_EQ(Path(), "/run/orvale/api");
}

TEST_F(RpcSocketPath, MayFillItsArray) {
    const std::string longest = "/" + std::string(kRpcSocketPathSize - 2, 'x');
    setenv("ORVALE_RPC_SOCKET", longest.c_str(), 1);

    EXPECT_EQ(Path(), longest);
}

TEST_F(RpcSocketPath, IsThatOfTheUnitWhenTheEnvironmentNamesNoneThatCanBe) {
    for (const std::string& path :
         {std::string(), std::string("relative/path"), "/" + std::string(99, 'x')}) {
        setenv("ORVALE_RPC_SOCKET", path.c_str(), 1);

        EXPECT_EQ(Path(), "/var/run/ORVALE_API") << path;
    }
}

TEST_F(RpcSocketPath, OfATestStaysWhatElseTheEnvironmentNames) {
    setenv("MRV_JSON_RPC_TEST", "1", 1);
    setenv("ORVALE_RPC_SOCKET", "/run/orvale/api", 1);

    EXPECT_EQ(Path(), "/tmp/mrv_json_rpc_" + std::to_string(getuid()));
}

TEST_F(RpcSocketPath, NamesTheUserWithTheTestVariableWhateverItHolds) {
    setenv("MRV_JSON_RPC_TEST", "", 1);

    EXPECT_EQ(Path(), "/tmp/mrv_json_rpc_" + std::to_string(getuid()));
}
