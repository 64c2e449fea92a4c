// SPDX-License-Identifier: MIT

#include "tools/apictl/ApiClient.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "src/base/json_helpers.h"
#include "tools/common/json_text.h"

namespace {

using Clock = Deadline::clock;

constexpr std::chrono::milliseconds kRetryPause{20};

std::string request_text(const ApiRequest& request, int id) {
    const JsonPtr message(cJSON_CreateObject());
    cJSON_AddStringToObject(message.get(), "jsonrpc", "2.0");
    cJSON_AddStringToObject(message.get(), "method", request.method);
    cJSON* params = cJSON_AddObjectToObject(message.get(), "params");
    cJSON_AddStringToObject(params, "path", request.path.c_str());
    if (request.data != nullptr) {
        // A reference, which goes with the message; it is only printed, so that the constness holds.
        cJSON_AddItemReferenceToObject(params, "data", const_cast<cJSON*>(request.data));
    }
    cJSON_AddNumberToObject(message.get(), "id", id);
    return json_wire_text(*message);
}

bool is_response(const cJSON* message) {
    return cJSON_HasObjectItem(message, "result") != 0 || cJSON_HasObjectItem(message, "error") != 0;
}

}  // namespace

ApiClient::ApiClient(const Interruption& interruption, NotificationHandler on_notification,
                     std::chrono::milliseconds call_limit)
    : m_interruption(interruption), m_on_notification(std::move(on_notification)), m_call_limit(call_limit) {}

ApiClient::Outcome ApiClient::fail(std::string problem) {
    m_problem = std::move(problem);
    return Outcome::kFailed;
}

ApiClient::Outcome ApiClient::connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        return fail("'" + path + "' cannot be the path of a socket");
    }
    path.copy(address.sun_path, path.size());
    m_socket.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    const Deadline deadline = Clock::now() + m_call_limit;
    while (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        // EAGAIN: more connections wait to be accepted than the daemon has room for. No event tells of the next place.
        const int error = errno;
        if (error != EAGAIN || Clock::now() >= deadline) {
            return fail("cannot reach '" + path + "': " + std::strerror(error));
        }
        if (m_interruption.await(-1, 0, Clock::now() + kRetryPause) == Interruption::Wakeup::kInterrupted) {
            return Outcome::kInterrupted;
        }
    }
    return Outcome::kOk;
}

ApiClient::Outcome ApiClient::call(const ApiRequest& request, ApiResponse& response) {
    const Deadline deadline = Clock::now() + m_call_limit;
    m_response.reset();
    Outcome outcome = send(request_text(request, ++m_last_id), deadline);
    while (outcome == Outcome::kOk && m_response == nullptr) {
        outcome = receive(deadline);
    }
    if (outcome == Outcome::kTimeLimit) {
        const auto limit = std::chrono::ceil<std::chrono::seconds>(m_call_limit);
        return fail("no answer within " + std::to_string(limit.count()) + " s");
    }
    if (outcome == Outcome::kOk) {
        response = ApiResponse(std::move(m_response));
    }
    return outcome;
}

ApiClient::Outcome ApiClient::send(std::string_view text, Deadline deadline) {
    while (!text.empty()) {
        if (const Outcome outcome = client_await(m_interruption, m_socket.get(), POLLOUT, deadline);
            outcome != Outcome::kOk) {
            return outcome;
        }
        const ssize_t sent = ::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            text.remove_prefix(static_cast<std::size_t>(sent));
        } else if (errno != EAGAIN && errno != EINTR) {
            return fail(std::string("the connection has ended: ") + std::strerror(errno));
        }
    }
    return Outcome::kOk;
}

ApiClient::Outcome ApiClient::receive(Deadline deadline) {
    if (const Outcome outcome = client_await(m_interruption, m_socket.get(), POLLIN, deadline);
        outcome != Outcome::kOk) {
        return outcome;
    }
    char piece[65536];
    const ssize_t count = recv(m_socket.get(), piece, sizeof piece, 0);
    if (count == 0) {
        return fail("the connection has ended");
    }
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR
                   ? Outcome::kOk
                   : fail(std::string("the connection has ended: ") + std::strerror(errno));
    }
    m_received.append(piece, static_cast<std::size_t>(count));
    return takeMessages();
}

// All of them: what stays behind a response would only be looked at when more bytes come.
ApiClient::Outcome ApiClient::takeMessages() {
    std::string_view bytes = m_received;
    for (;;) {
        switch (m_splitter.next(bytes)) {
            case MessageSplitter::Result::kMalformed:
                return fail("what came is no JSON");
            case MessageSplitter::Result::kIncomplete:
                m_received.erase(0, m_received.size() - bytes.size());
                return m_received.size() > kMaxMessageBytes ? fail("a message does not end") : Outcome::kOk;
            case MessageSplitter::Result::kMessage:
                break;
        }
        JsonPtr message(cJSON_ParseWithLength(bytes.data(), m_splitter.length()));
        if (message == nullptr) {
            return fail("what came is no JSON");
        }
        bytes.remove_prefix(m_splitter.length());
        takeMessage(std::move(message));
    }
}

void ApiClient::takeMessage(JsonPtr message) {
    if (is_response(message.get())) {
        if (isAwaited(message.get())) {
            m_response = std::move(message);
        }
    } else if (cJSON_GetObjectString(message.get(), "method") != nullptr && m_on_notification) {
        m_on_notification(*message);
    }
}

// A request that the daemon could not make out is answered without an id; there is never more than one on its way.
bool ApiClient::isAwaited(const cJSON* response) const {
    const cJSON* id = cJSON_GetObjectItemCaseSensitive(response, "id");
    return cJSON_IsNull(id) || (cJSON_IsNumber(id) && id->valueint == m_last_id);
}
