// SPDX-License-Identifier: MIT

#pragma once

#include <new>

// The end of the process when one of the program's own rules is broken, or when there is no memory for what it cannot
// do without. Bytes from outside never lead here.

// Sends the text to syslog at level 1 (alert), then aborts.
[[noreturn]] void px_panic(const char* format, ...) __attribute__((format(printf, 1, 2)));

[[noreturn]] void px_abort();

// Panics with "*** ASSERT in <module> at <line of the caller>" unless the condition holds.
inline void px_assert(bool condition, const char* module, int line = __builtin_LINE()) {
    if (!condition) {
        px_panic("*** ASSERT in %s at %d\n", module, line);
    }
}

// The result of the action; panics as px_assert() does when that throws std::bad_alloc.
template <class Action>
auto px_assert_memory(const char* module, Action action, int line = __builtin_LINE()) {
    try {
        return action();
    } catch (const std::bad_alloc&) {
        px_panic("*** ASSERT in %s at %d\n", module, line);
    }
}
