// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "src/base/owners.h"

// service_notify: tells the service manager that started the program how it is. The manager asks for that by its
// environment (NOTIFY_SOCKET, a path or an abstract name after "@"; WATCHDOG_USEC and WATCHDOG_PID); without it nothing
// is sent. One datagram a message, never waiting: a manager that does not take it goes without.

// Sends e.g. "READY=1". False when nothing was sent: not asked for, no usable address (EINVAL) or not taken, with errno.
bool service_notify(const std::string& state);

// From now on the manager hears "STOPPING=1" when this process ends by exit(), be it in a signal handler; not when a
// child of it does. For programs that do not get to say so themselves.
void service_notify_stopping_at_exit();

// The time within which the manager wants to hear from this process each time, in microseconds; 0 when it does not.
[[nodiscard]] uint64_t service_watchdog_usec();

// ServiceNotifier: the same for as long as a program runs on a loop.
// Borrows: the loop; it outlives this object.
// Threads: loop thread only.
class ServiceNotifier {
  public:
    // Sends "READY=1" in the loop's next turn, from which on the program serves, and "WATCHDOG=1" at half of the time that
    // the manager wants: a loop that hangs is silent, and so is a program that is not well any more.
    explicit ServiceNotifier(
        event_base* base, std::function<bool()> is_well = [] { return true; });
    ServiceNotifier(const ServiceNotifier&) = delete;
    ServiceNotifier& operator=(const ServiceNotifier&) = delete;
    ~ServiceNotifier() = default;

    // The program is about to end on purpose.
    void announce_stopping();

  private:
    static void on_ready(evutil_socket_t, short, void* self) noexcept;
    static void on_watchdog(evutil_socket_t, short, void* self) noexcept;

    std::function<bool()> m_is_well;
    // Open from the start: a program whose clients have taken all descriptors still has to be heard.
    UniqueFd m_socket;
    EventPtr m_ready_event;
    EventPtr m_watchdog_event;
};
