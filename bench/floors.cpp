// SPDX-License-Identifier: MIT

#include "floors.h"

#include <event2/bufferevent.h>
#include <event2/http.h>
#include <event2/listener.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

#include "HttpClient.h"
#include "RpcClient.h"
#include "RunningUnit.h"
#include "pinned.h"
#include "src/base/owners.h"

namespace {

constexpr size_t kMessageBytes = 4096;

void answer_with_json(evhttp_request* request, void* json) {
    const BufferPtr body(evbuffer_new());
    const JsonText text(cJSON_Print(static_cast<cJSON*>(json)));
    evbuffer_add_printf(body.get(), "%s", text.get());
    evhttp_add_header(evhttp_request_get_output_headers(request), "Content-Type", "application/json");
    evhttp_send_reply(request, 200, "OK", body.get());
}

[[noreturn]] void serve_http(int port, const char* json) {
    const EventBasePtr base(event_base_new());
    const COwned<evhttp, evhttp_free> http(evhttp_new(base.get()));
    const JsonPtr object(cJSON_Parse(json));
    evhttp_set_gencb(http.get(), answer_with_json, object.get());
    if (evhttp_bind_socket(http.get(), "127.0.0.1", static_cast<ev_uint16_t>(port)) != 0) {
        _exit(1);
    }
    event_base_dispatch(base.get());
    _exit(0);
}

void answer_call(bufferevent* connection, void* json) {
    evbuffer* input = bufferevent_get_input(connection);
    const size_t length = evbuffer_get_length(input);
    const JsonPtr call(
        cJSON_ParseWithLength(reinterpret_cast<const char*>(evbuffer_pullup(input, -1)), length));
    evbuffer_drain(input, length);
    const JsonPtr answer(cJSON_CreateObject());
    cJSON_AddStringToObject(answer.get(), "jsonrpc", "2.0");
    cJSON* result = cJSON_AddObjectToObject(answer.get(), "result");
    cJSON_AddNumberToObject(result, "code", 200);
    cJSON_AddItemReferenceToObject(result, "data", static_cast<cJSON*>(json));
    cJSON_AddItemReferenceToObject(answer.get(), "id", cJSON_GetObjectItemCaseSensitive(call.get(), "id"));
    const JsonText text(cJSON_Print(answer.get()));
    bufferevent_write(connection, text.get(), std::strlen(text.get()));
}

void accept_caller(evconnlistener* listener, evutil_socket_t fd, sockaddr*, int, void* json) {
    bufferevent* connection =
        bufferevent_socket_new(evconnlistener_get_base(listener), fd, BEV_OPT_CLOSE_ON_FREE);
    // It lives as long as this process.
    bufferevent_setcb(connection, answer_call, nullptr, nullptr, json);
    bufferevent_enable(connection, EV_READ | EV_WRITE);
}

[[noreturn]] void serve_rpc(const std::string& path, const char* json) {
    const EventBasePtr base(event_base_new());
    const JsonPtr object(cJSON_Parse(json));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const COwned<evconnlistener, evconnlistener_free> listener(
        evconnlistener_new_bind(base.get(), accept_caller, object.get(), LEV_OPT_CLOSE_ON_FREE, -1,
                                reinterpret_cast<sockaddr*>(&address), sizeof address));
    if (listener == nullptr) {
        _exit(1);
    }
    event_base_dispatch(base.get());
    _exit(0);
}

void pass_on(int from, int to) {
    char message[kMessageBytes];
    const ssize_t n = read(from, message, sizeof message);
    if (n <= 0 || write(to, message, static_cast<size_t>(n)) != n) {
        _exit(0);
    }
}

template <class Serves>
void await(const Serves& serves) {
    while (!serves()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

void end(pid_t pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

}  // namespace

HttpFloor::HttpFloor(const std::string& json) : m_port(free_port()), m_pid(fork_pinned(kServingCpu)) {
    if (m_pid == 0) {
        serve_http(m_port, json.c_str());
    }
    await([this] { return HttpClient(m_port).connected(); });
}

HttpFloor::~HttpFloor() {
    end(m_pid);
}

RpcFloor::RpcFloor(const std::string& path, const std::string& json) : m_pid(fork_pinned(kServingCpu)) {
    if (m_pid == 0) {
        serve_rpc(path, json.c_str());
    }
    await([&] { return RpcClient(path).connected(); });
}

RpcFloor::~RpcFloor() {
    end(m_pid);
}

RawRelay::RawRelay() {
    int asking[2];
    int serving[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, asking) != 0 ||
        socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, serving) != 0) {
        std::abort();
    }
    m_relay = fork_pinned(kServingCpu);
    while (m_relay == 0) {
        pass_on(asking[1], serving[0]);
        pass_on(serving[0], asking[1]);
    }
    m_server = fork_pinned(kAskingCpu);
    while (m_server == 0) {
        pass_on(serving[1], serving[1]);
    }
    m_socket.reset(asking[0]);
    for (const int fd : {asking[1], serving[0], serving[1]}) {
        UniqueFd closed(fd);
    }
}

RawRelay::~RawRelay() {
    m_socket.reset();
    end(m_relay);
    end(m_server);
}

void RawRelay::roundTrip(size_t bytes) {
    char message[kMessageBytes] = {};
    if (write(m_socket.get(), message, bytes) != static_cast<ssize_t>(bytes) ||
        read(m_socket.get(), message, sizeof message) != static_cast<ssize_t>(bytes)) {
        std::abort();
    }
}
