// SPDX-License-Identifier: MIT

#pragma once

#include <sys/wait.h>

#include <functional>

#include <event2/event.h>

#include "runtime/fdloop_libevent.h"
#include "src/base/owners.h"

// ProcessLoop: a loop on which processes are watched.
class ProcessLoop {
  public:
    _fdloop_t* handle() { return m_loop.get(); }

    // Turns the loop until the condition holds; false when it does not in half a minute: programs start slowly on a
    // busy machine.
    bool turnUntil(const std::function<bool()>& condition) {
        bool in_time = true;
        const EventPtr timeout(evtimer_new(
            m_base.get(), [](evutil_socket_t, short, void* flag) { *static_cast<bool*>(flag) = false; },
            &in_time));
        // Conditions on files do not wake the loop.
        const EventPtr tick(event_new(
            m_base.get(), -1, EV_PERSIST, [](evutil_socket_t, short, void*) {}, nullptr));
        constexpr timeval kPatience{30, 0};
        constexpr timeval kTick{0, 5000};
        evtimer_add(timeout.get(), &kPatience);
        evtimer_add(tick.get(), &kTick);
        while (!condition() && in_time) {
            fdloop_run(m_loop.get());
        }
        return in_time;
    }
    // Serves what is ready and does not wait.
    void turn() { event_base_loop(m_base.get(), EVLOOP_NONBLOCK); }

    // Waits until the child has ended, and leaves it to be reaped.
    static void awaitEnd(int process_id) {
        siginfo_t info = {};
        waitid(P_PID, static_cast<id_t>(process_id), &info, WEXITED | WNOWAIT);
    }

  private:
    EventBasePtr m_base{event_base_new()};
    FdLoopPtr m_loop{fdloop_init_libevent(m_base.get())};
};
