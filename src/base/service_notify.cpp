// SPDX-License-Identifier: MIT

#include "src/base/service_notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "runtime/logging.h"
#include "src/base/environment_number.h"

namespace {

constexpr uint64_t kMicrosecondsPerSecond = 1'000'000;
// Below this the timer would be all that the program does.
constexpr uint64_t kShortestPeriodUsec = 1000;

struct ManagerAddress {
    sockaddr_un name{};
    socklen_t length = 0;  // 0: there is none
};

ManagerAddress manager_address(const char* text) {
    ManagerAddress address;
    const size_t length = strlen(text);
    if ((text[0] != '/' && text[0] != '@') || length < 2 || length >= sizeof address.name.sun_path) {
        return address;
    }
    address.name.sun_family = AF_UNIX;
    memcpy(address.name.sun_path, text, length);
    if (text[0] == '@') {
        address.name.sun_path[0] = '\0';
    }
    address.length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + length);
    return address;
}

// Both async-signal-safe.
UniqueFd manager_socket() {
    return UniqueFd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

bool send_state(const UniqueFd& socket_fd, const ManagerAddress& manager, std::string_view state) {
    return socket_fd.valid() &&
           sendto(socket_fd.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                  reinterpret_cast<const sockaddr*>(&manager.name),
                  manager.length) == static_cast<ssize_t>(state.size());
}

// What the exit handler needs, found beforehand: where a signal has interrupted the process, the environment and the
// heap are out of reach.
ManagerAddress exit_manager;
pid_t exit_process = 0;

void send_stopping() {
    if (getpid() == exit_process) {
        send_state(manager_socket(), exit_manager, "STOPPING=1");
    }
}

bool notify_over(const UniqueFd& socket_fd, std::string_view state) {
    const char* text = getenv("NOTIFY_SOCKET");
    if (text == nullptr) {
        return false;
    }
    const ManagerAddress manager = manager_address(text);
    if (manager.length == 0) {
        errno = EINVAL;
        return false;
    }
    return send_state(socket_fd, manager, state);
}

}  // namespace

bool service_notify(const std::string& state) {
    return notify_over(manager_socket(), state);
}

void service_notify_stopping_at_exit() {
    const char* text = getenv("NOTIFY_SOCKET");
    exit_manager = manager_address(text != nullptr ? text : "");
    if (exit_manager.length > 0 && exit_process != getpid()) {
        exit_process = getpid();
        atexit(send_stopping);
    }
}

uint64_t service_watchdog_usec() {
    const bool is_for_us = getenv("WATCHDOG_PID") == nullptr ||
                           environment_number("WATCHDOG_PID", 0) == static_cast<uint64_t>(getpid());
    return is_for_us ? environment_number("WATCHDOG_USEC", 0) : 0;
}

ServiceNotifier::ServiceNotifier(event_base* base, std::function<bool()> is_well)
    : m_is_well(std::move(is_well)),
      m_ready_event(event_new(base, -1, 0, on_ready, this)),
      m_watchdog_event(event_new(base, -1, EV_PERSIST, on_watchdog, this)) {
    if (getenv("NOTIFY_SOCKET") == nullptr) {
        return;
    }
    m_socket = manager_socket();
    event_active(m_ready_event.get(), EV_TIMEOUT, 0);
    if (const uint64_t wanted_usec = service_watchdog_usec(); wanted_usec > 0) {
        const uint64_t period_usec = std::max(wanted_usec / 2, kShortestPeriodUsec);
        const timeval period{static_cast<time_t>(period_usec / kMicrosecondsPerSecond),
                             static_cast<suseconds_t>(period_usec % kMicrosecondsPerSecond)};
        event_add(m_watchdog_event.get(), &period);
    }
}

void ServiceNotifier::on_ready(evutil_socket_t, short, void* self) noexcept {
    if (!notify_over(static_cast<ServiceNotifier*>(self)->m_socket, "READY=1")) {
        logger_function(4, "service_notify", "the service manager was not told of the start: %s",
                        strerror(errno));
    }
}

void ServiceNotifier::on_watchdog(evutil_socket_t, short, void* self) noexcept {
    const auto* notifier = static_cast<ServiceNotifier*>(self);
    if (notifier->m_is_well()) {
        notify_over(notifier->m_socket, "WATCHDOG=1");
    }
}

void ServiceNotifier::announce_stopping() {
    event_del(m_ready_event.get());
    event_del(m_watchdog_event.get());
    notify_over(m_socket, "STOPPING=1");
}
