// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

#include "RpcClient.h"

// RpcLoad: one connection to a JSON-RPC server that repeats one call, each after the answer to the one before.
class RpcLoad {
  public:
    // Makes the call once, to learn how long its answer is: every answer has to be as long.
    RpcLoad(const std::string& socket_path, const std::string& call);

    // Calls for the given time and returns the answers per second. Ends the process when the server goes.
    double run(double seconds);

  private:
    RpcClient m_client;
    std::string m_call;
    size_t m_answer_bytes = 0;
};
