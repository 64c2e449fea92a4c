// SPDX-License-Identifier: MIT

#pragma once

#include <sys/types.h>

// Everything measured runs pinned: what serves on the first processor, what asks on the second (the same one on
// a machine that has just one), so that the kernel's placing of processes does not decide a ratio.
constexpr int kServingCpu = 0;
constexpr int kAskingCpu = 1;

// Pins a process with all its threads; 0 is the caller.
void pin_process(pid_t pid, int cpu);

// A child process, pinned, that ends with this one, however that ends. As fork().
[[nodiscard]] pid_t fork_pinned(int cpu);
