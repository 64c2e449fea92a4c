// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "runtime/c_owner.h"
#include "src/base/owners.h"
#include "tools/apictl/ApiResponse.h"
#include "tools/apictl/MessageSplitter.h"
#include "tools/common/Interruption.h"
#include "tools/common/client_outcome.h"

struct ApiRequest {
    const char* method;  // "create", "read", "update" or "delete"
    std::string path;
    const cJSON* data = nullptr;  // borrowed; null sends none
};

// ApiClient: one connection to the daemon's JSON-RPC socket, with the session and the subscriptions that belong to it.
// Borrows:   the interruption, which outlives this object.
// Callbacks: on_notification runs inside call() and receive(), once for each, in the order of arrival; it must not call
//            back into this object. The message is valid during the call.
// Errors:    kFailed: no connection, its end, bytes that are no JSON, a message over kMaxMessageBytes or no answer in
//            time; problem() says which in words. The object is of no use afterwards.
// Blocks:    connect() and call() for at most the limit given, by default 60 s: the daemon itself waits for up to 30 s
//            for its database, and may do so for a request before ours.
class ApiClient {
  public:
    using Outcome = ClientOutcome;
    using NotificationHandler = std::function<void(const cJSON& message)>;

    static constexpr std::size_t kMaxMessageBytes = std::size_t{16} << 20;
    static constexpr std::chrono::milliseconds kCallLimit{60'000};

    explicit ApiClient(const Interruption& interruption, NotificationHandler on_notification = nullptr,
                       std::chrono::milliseconds call_limit = kCallLimit);

    [[nodiscard]] Outcome connect(const std::string& path);
    // Sends the request and waits for its response; `response` is set with kOk alone.
    [[nodiscard]] Outcome call(const ApiRequest& request, ApiResponse& response);
    // Waits for bytes and takes every message that is complete with them; kTimeLimit when none came.
    [[nodiscard]] Outcome receive(Deadline deadline);

    [[nodiscard]] const std::string& problem() const { return m_problem; }

  private:
    Outcome send(std::string_view text, Deadline deadline);
    Outcome takeMessages();
    void takeMessage(JsonPtr message);
    [[nodiscard]] bool isAwaited(const cJSON* response) const;
    Outcome fail(std::string problem);

    const Interruption& m_interruption;
    NotificationHandler m_on_notification;
    std::chrono::milliseconds m_call_limit;
    UniqueFd m_socket;
    MessageSplitter m_splitter;
    std::string m_received;
    int m_last_id = 0;
    JsonPtr m_response;
    std::string m_problem;
};
