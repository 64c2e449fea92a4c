// SPDX-License-Identifier: MIT

#pragma once

// Writes "configd: <text>" as one line on standard error: the program does not come up, and this is why.
void startup_error(const char* format, ...) __attribute__((format(printf, 1, 2)));
