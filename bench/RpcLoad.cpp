// SPDX-License-Identifier: MIT

#include "RpcLoad.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "bench: %s\n", what);
    std::exit(1);
}

}  // namespace

RpcLoad::RpcLoad(const std::string& socket_path, const std::string& call)
    : m_client(socket_path), m_call(call) {
    m_client.send(m_call);
    const JsonPtr answer = m_client.receive();
    if (cJSON_GetObjectItemCaseSensitive(answer.get(), "result") == nullptr) {
        fail("the JSON-RPC server gave no result");
    }
    // Both sides print in the same way, so that the text has the length that it had on the wire.
    m_answer_bytes = std::strlen(JsonText(cJSON_Print(answer.get())).get());
}

double RpcLoad::run(double seconds) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::chrono::duration<double> elapsed{0};
    size_t answers = 0;
    while (elapsed.count() < seconds) {
        m_client.send(m_call);
        if (!m_client.skip(m_answer_bytes)) {
            fail("the JSON-RPC server has gone");
        }
        ++answers;
        elapsed = Clock::now() - start;
    }
    return static_cast<double>(answers) / elapsed.count();
}
