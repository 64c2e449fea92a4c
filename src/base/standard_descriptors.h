// SPDX-License-Identifier: MIT

#pragma once

// The descriptor numbers 0, 1 and 2. The C library and every child program take them for input, output and error
// output, so a socket or a database file that gets one of these numbers receives whatever is printed.

// Closes 0, 1 and 2 and keeps their numbers taken, see standard_descriptors_reserve().
[[nodiscard]] bool standard_descriptors_close();

// Puts a placeholder on each of the three numbers that is free: reading and writing it fails with EBADF as on a
// closed descriptor, and it is gone in a program started by exec. False when the system refuses one.
[[nodiscard]] bool standard_descriptors_reserve();
