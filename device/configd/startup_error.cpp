// SPDX-License-Identifier: MIT

#include "device/configd/startup_error.h"

#include <cstdarg>
#include <cstdio>

void startup_error(const char* format, ...) {
    va_list args;
    va_start(args, format);
    fputs("configd: ", stderr);
    vfprintf(stderr, format, args);
    fputc('\n', stderr);
    va_end(args);
}
