// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>

// Where local programs find the JSON-RPC server: "/var/run/ORVALE_API", or "/tmp/mrv_json_rpc_UID" when the environment
// has "MRV_JSON_RPC_TEST", with any value: tests, and units that do not run as root, have no right to /var/run. Who
// installs a daemon without that right gives it another path in "ORVALE_RPC_SOCKET" and makes a link to that where the
// programs look; what is no absolute path or does not fit counts as none.

inline constexpr std::size_t kRpcSocketPathSize = 100;

void rpc_socket_path(char (&path)[kRpcSocketPathSize]);
