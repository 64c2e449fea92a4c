// SPDX-License-Identifier: MIT

#include "runtime/fdloop_libevent.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <list>
#include <new>
#include <utility>
#include <vector>

#include <event2/event.h>

#include "runtime/px_panic.h"
#include "runtime/px_slog.h"
#include "runtime/px_time.h"

namespace {

constexpr const char* kModule = "fdloop_libevent";

using EventPtr = COwned<event, event_free>;
using BasePtr = COwned<event_base, event_base_free>;
using plain_callback_t = int (*)(int fd, void* context);

// The kinds of watch are their libevent flags. EV_PERSIST alone never fires.
enum class WatchKind : short {
    kRead = EV_READ | EV_PERSIST,
    kWrite = EV_WRITE | EV_PERSIST,
    kExcept = EV_PERSIST,
};

struct Watch {
    _fdloop_t* loop;
    WatchKind kind;
    std::int16_t fd;
    fdloop_fd_callback_t callback;    // one of these two is set
    plain_callback_t plain_callback;  // of a FdLoopAdaptor
    void* context;
    int enabled = 1;
    EventPtr event = nullptr;
};

}  // namespace

struct _fdloop_timer_t {
    event_base* base;
    fdloop_timer_callback_t callback;
    void* context;
    std::uint32_t interval_ms = 0;
    EventPtr event = nullptr;
};

struct _fdloop_idler_t {
    fdloop_idler_callback_t callback;
    void* context;
};

struct _fdloop_t {
    BasePtr own_base;  // first, so that it goes after the events on it
    event_base* base;
    std::uint32_t created_ms;              // for the reader of a core dump
    std::list<Watch> watches{};            // in the order of registration
    const Watch* running_watch = nullptr;  // whose callback is running; null once that has removed it
    std::list<_fdloop_timer_t> timers{};
    std::list<_fdloop_idler_t> idlers{};
    std::vector<_fdloop_idler_t*> idler_list{};  // those that are called, in order
};

namespace {

int call(Watch& watch) {
    return watch.callback != nullptr ? watch.callback(watch.fd, watch.context, &watch)
                                     : watch.plain_callback(watch.fd, watch.context);
}

void serve(Watch* watch, int fd) {
    px_assert(fd == watch->fd, kModule);
    px_assert(watch->callback != nullptr || watch->plain_callback != nullptr, kModule);
    _fdloop_t* loop = watch->loop;

    loop->running_watch = watch;
    const int result = call(*watch);
    const bool removed = loop->running_watch == nullptr;
    loop->running_watch = nullptr;
    if (result != 0 && !removed) {
        event_del(watch->event.get());
    }
}

void on_descriptor(evutil_socket_t fd, short, void* watch) noexcept {
    serve(static_cast<Watch*>(watch), fd);
}

void arm(const Watch& watch) {
    if (event_add(watch.event.get(), nullptr) != 0) {
        px_slog(3, "fdloop: cannot watch descriptor %d (%s)\n", watch.fd, std::strerror(errno));
    }
}

// noexcept: without memory the process ends here.
void register_watch(_fdloop_t* handle, int fd, Watch watch) noexcept {
    px_assert(handle != nullptr, kModule);
    if (fd < 0) {
        return;
    }
    px_assert(fd <= std::numeric_limits<decltype(watch.fd)>::max(), kModule);
    watch.loop = handle;
    watch.fd = static_cast<std::int16_t>(fd);
    Watch& added = handle->watches.emplace_back(std::move(watch));
    added.event.reset(event_new(handle->base, fd, static_cast<short>(added.kind), on_descriptor, &added));
    px_assert(added.event != nullptr, kModule);
    arm(added);
}

Watch make_watch(WatchKind kind, fdloop_fd_callback_t callback, void* context) {
    return {.loop = nullptr,
            .kind = kind,
            .fd = -1,
            .callback = callback,
            .plain_callback = nullptr,
            .context = context};
}

void unregister_watch(_fdloop_t* handle, int fd, WatchKind kind) {
    px_assert(handle != nullptr, kModule);
    px_assert(fd >= 0, kModule);
    const auto found = std::ranges::find_if(
        handle->watches, [&](const Watch& watch) { return watch.kind == kind && watch.fd == fd; });
    px_assert(found != handle->watches.end(), kModule);
    if (handle->running_watch == &*found) {
        handle->running_watch = nullptr;
    }
    handle->watches.erase(found);
}

void on_timer(evutil_socket_t, short flags, void* self) noexcept {
    auto* timer = static_cast<_fdloop_timer_t*>(self);
    timer->callback(timer->context, flags, timer);
}

// The interval is split into seconds and microseconds: libevent keeps flags of its own in the upper bits of
// the microseconds, so that a raw count of 1342 seconds and more would be taken for something else.
[[nodiscard]] bool start_timer(_fdloop_timer_t& timer, std::uint32_t interval_ms) {
    timer.interval_ms = interval_ms;
    timer.event.reset(event_new(timer.base, -1, EV_PERSIST, on_timer, &timer));
    const timeval interval = {.tv_sec = interval_ms / 1000, .tv_usec = interval_ms % 1000 * 1000};
    return timer.event != nullptr && event_add(timer.event.get(), &interval) == 0;
}

template <class T>
void erase_entry(std::list<T>& entries, const T* entry) {
    const auto found = std::ranges::find_if(entries, [&](const T& each) { return &each == entry; });
    px_assert(found != entries.end(), kModule);
    entries.erase(found);
}

// A copy of the list, because idlers may change it; an entry that is gone by now is left out.
void run_idlers(_fdloop_t* handle) {
    for (_fdloop_idler_t* idler : std::vector(handle->idler_list)) {
        if (std::ranges::find(handle->idler_list, idler) != handle->idler_list.end()) {
            idler->callback(idler->context);
        }
    }
}

}  // namespace

_fdloop_t* fdloop_init_libevent(event_base* base) {
    BasePtr own_base(base == nullptr ? event_base_new() : nullptr);
    event_base* used = base == nullptr ? own_base.get() : base;
    px_assert(used != nullptr, kModule);
    auto* handle = new (std::nothrow)
        _fdloop_t{.own_base = std::move(own_base), .base = used, .created_ms = fdloop_time_ms()};
    px_assert(handle != nullptr, kModule);
    return handle;
}

_fdloop_t* fdloop_init() {
    return fdloop_init_libevent(nullptr);
}

void fdloop_free(_fdloop_t* handle) {
    delete handle;
}

void fdloop_fd_register(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context) {
    register_watch(handle, fd, make_watch(WatchKind::kRead, callback, context));
}

void fdloop_fd_register_write(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context) {
    register_watch(handle, fd, make_watch(WatchKind::kWrite, callback, context));
}

void fdloop_fd_register_except(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, void* context) {
    register_watch(handle, fd, make_watch(WatchKind::kExcept, callback, context));
}

void fdloop_fd_unregister(_fdloop_t* handle, int fd) {
    unregister_watch(handle, fd, WatchKind::kRead);
}

void fdloop_fd_unregister_write(_fdloop_t* handle, int fd) {
    unregister_watch(handle, fd, WatchKind::kWrite);
}

void fdloop_fd_unregister_except(_fdloop_t* handle, int fd) {
    unregister_watch(handle, fd, WatchKind::kExcept);
}

void fdloop_fd_enable(_fdloop_t* handle, int fd, fdloop_fd_callback_t callback, int enable) {
    px_assert(handle != nullptr, kModule);
    const auto found = std::ranges::find_if(
        handle->watches, [&](const Watch& watch) { return watch.fd == fd && watch.callback == callback; });
    if (found == handle->watches.end()) {
        return;
    }
    // A toggle: the flag of the last call decides, the argument is only remembered. Callers count on it.
    if (found->enabled == 0) {
        arm(*found);
    } else {
        event_del(found->event.get());
    }
    found->enabled = enable;
}

_fdloop_timer_t* fdloop_timer_add(_fdloop_t* handle, std::uint32_t interval_ms,
                                  fdloop_timer_callback_t callback, void* context) try {
    px_assert(handle != nullptr, kModule);
    _fdloop_timer_t& timer = handle->timers.emplace_front(
        _fdloop_timer_t{.base = handle->base, .callback = callback, .context = context});
    if (!start_timer(timer, interval_ms)) {
        handle->timers.pop_front();
        return nullptr;
    }
    return &timer;
} catch (const std::bad_alloc&) {
    return nullptr;
}

void fdloop_timer_set_interval(_fdloop_timer_t* timer, std::uint32_t interval_ms) {
    px_assert(timer != nullptr, kModule);
    const bool started = start_timer(*timer, interval_ms);
    px_assert(started, kModule);
}

std::uint32_t fdloop_timer_get_interval(const _fdloop_timer_t* timer) {
    px_assert(timer != nullptr, kModule);
    return timer->interval_ms;
}

void fdloop_timer_del(_fdloop_t* handle, _fdloop_timer_t* timer) {
    px_assert(handle != nullptr && timer != nullptr, kModule);
    erase_entry(handle->timers, timer);
}

_fdloop_idler_t* fdloop_idler_add(_fdloop_t* handle, fdloop_idler_callback_t callback,
                                  void* context) noexcept {
    px_assert(handle != nullptr, kModule);
    handle->idlers.push_back({.callback = callback, .context = context});
    handle->idler_list.push_back(&handle->idlers.back());
    return handle->idler_list.back();
}

void fdloop_idler_del(_fdloop_t* handle, _fdloop_idler_t* idler) {
    px_assert(handle != nullptr && idler != nullptr, kModule);
    auto& list = handle->idler_list;
    if (!list.empty() && list.front() == idler) {
        list.clear();  // the first one takes the whole list along: they are added and removed as one set
    } else {
        std::erase(list, idler);
    }
    erase_entry(handle->idlers, idler);
}

int fdloop_run(_fdloop_t* handle) {
    px_assert(handle != nullptr, kModule);
    run_idlers(handle);
    event_base_loop(handle->base, EVLOOP_ONCE);
    return 0;
}

void fdloop_loop(_fdloop_t* handle) {
    for (;;) {
        fdloop_run(handle);
    }
}

void fdloop_loop_timed(_fdloop_t*, std::uint32_t) {
    px_panic("*** ASSERT in %s at %d\n", kModule, __LINE__);
}

std::uint32_t fdloop_time_ms() {
    return px_time_ms();
}

void FdLoopAdaptor::fdloop_fd_register(int fd, int (*callback)(int fd, void* context), void* context) {
    Watch watch = make_watch(WatchKind::kRead, nullptr, context);
    watch.plain_callback = callback;
    register_watch(m_handle, fd, std::move(watch));
}

void FdLoopAdaptor::fdloop_fd_unregister(int fd) {
    ::fdloop_fd_unregister(m_handle, fd);
}
