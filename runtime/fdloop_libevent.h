// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "runtime/c_owner.h"

struct event_base;

// fdloop: descriptor watches, periodic timers and idle callbacks on top of a libevent event base.
// Owns:      watches, timers and idlers until they are removed or the loop is freed.
// Borrows:   the event base passed to fdloop_init_libevent(), the descriptors and every context.
// Threads:   the thread that runs the event base.
// Callbacks: run inside fdloop_run(). A callback may add and remove anything, its own watch, timer or idler
//            included; it does not free the loop.
// Errors:    a null handle or timer where one is needed, an allocation that fails and the cases named below
//            are panics: they are mistakes of the caller.

struct _fdloop_t;
struct _fdloop_timer_t;
struct _fdloop_idler_t;

// Called with the descriptor, the context and the watch (an identity, nothing to look into). Answering
// anything but 0 disarms the watch, which stays registered; the answer of a callback that removed its watch
// is ignored.
using fdloop_fd_callback_t = int (*)(int fd, void* context, void* watch);
// event_flags are libevent's (EV_TIMEOUT).
using fdloop_timer_callback_t = void (*)(void* context, int event_flags, _fdloop_timer_t* timer);
using fdloop_idler_callback_t = void (*)(void* context);

// A loop on this base, or on a base of its own when null. The daemon's loop lives as long as the process;
// anybody else frees it, before the base.
_fdloop_t* fdloop_init_libevent(event_base* base);
_fdloop_t* fdloop_init();
void fdloop_free(_fdloop_t* handle);
using FdLoopPtr = COwned<_fdloop_t, fdloop_free>;

// Watches. A negative descriptor is ignored; one above 32767 cannot be watched and is a panic. An exception
// watch is kept in the books, but no activity of the descriptor wakes it.
void fdloop_fd_register(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context);
void fdloop_fd_register_write(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context);
void fdloop_fd_register_except(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context);

// Remove the oldest watch of that kind and descriptor. None, or a negative descriptor, is a panic.
void fdloop_fd_unregister(_fdloop_t* handle, int fd);
void fdloop_fd_unregister_write(_fdloop_t* handle, int fd);
void fdloop_fd_unregister_except(_fdloop_t* handle, int fd);

// Arms or disarms the oldest watch with this descriptor and callback; none does nothing. What happens depends
// on the value of the call before (a new watch counts as enabled): after 0 the watch is armed, otherwise it
// is disarmed; then `enable` is remembered for the next call.
void fdloop_fd_enable(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, int enable);

// Timers fire every interval until they are deleted; an interval of 0 fires once. Null when there is no
// memory.
_fdloop_timer_t* fdloop_timer_add(_fdloop_t* handle, std::uint32_t interval_ms,
                                  fdloop_timer_callback_t callback, void* context);
void fdloop_timer_set_interval(_fdloop_timer_t* timer, std::uint32_t interval_ms);
[[nodiscard]] std::uint32_t fdloop_timer_get_interval(const _fdloop_timer_t* timer);
void fdloop_timer_del(_fdloop_t* handle, _fdloop_timer_t* timer);

// Idlers run in the order in which they were added, at the start of every pass. Deleting the first of them
// takes all others off the list as well: they are not called any more, yet must still be deleted.
_fdloop_idler_t* fdloop_idler_add(_fdloop_t* handle, fdloop_idler_callback_t callback,
                                  void* context) noexcept;
void fdloop_idler_del(_fdloop_t* handle, _fdloop_idler_t* idler);

// One pass: the idlers, then libevent until it has served what became ready, waiting for something if nothing
// is. Always 0.
int fdloop_run(_fdloop_t* handle);

// Passes without end.
[[noreturn]] void fdloop_loop(_fdloop_t* handle);

// Not supported by this adaptor: always a panic.
[[noreturn]] void fdloop_loop_timed(_fdloop_t* handle, std::uint32_t timeout_ms);

// The monotonic clock, as px_time_ms().
[[nodiscard]] std::uint32_t fdloop_time_ms();

// FdLoopAdaptor: the read watches of a loop for code that takes an object instead of the handle.
// Borrows: the handle, which outlives this object.
class FdLoopAdaptor {
  public:
    explicit FdLoopAdaptor(_fdloop_t* handle) : m_handle(handle) {}
    FdLoopAdaptor(const FdLoopAdaptor&) = delete;
    FdLoopAdaptor& operator=(const FdLoopAdaptor&) = delete;
    virtual ~FdLoopAdaptor() = default;

    virtual void fdloop_fd_register(int fd, int (*callback)(int fd, void* context), void* context);
    virtual void fdloop_fd_unregister(int fd);

  private:
    _fdloop_t* m_handle;
};
