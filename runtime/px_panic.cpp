// SPDX-License-Identifier: MIT

#include "runtime/px_panic.h"

#include <cstdarg>
#include <cstdlib>

#include "runtime/px_slog.h"

void px_panic(const char* format, ...) {
    va_list args;
    va_start(args, format);
    px_vslog(1, format, args);
    va_end(args);
    px_abort();
}

void px_abort() {
    std::abort();
}
