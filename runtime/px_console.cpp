// SPDX-License-Identifier: MIT

#include "runtime/px_console.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

constexpr std::size_t kLineSize = 80;

}  // namespace

int px_puts(const char* text) {
    const std::size_t length = std::strlen(text);
    std::size_t written = 0;
    while (written < length) {
        const ssize_t count = ::write(STDOUT_FILENO, text + written, length - written);
        if (count >= 0) {
            written += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            break;
        }
    }
    return static_cast<int>(written);
}

int px_vprintf(const char* format, va_list args) {
    char line[kLineSize];
    const int length = px_vsnprintf(line, sizeof line, format, args);
    px_puts(line);
    return length;
}

int px_printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = px_vprintf(format, args);
    va_end(args);
    return length;
}

int px_vsnprintf(char* buffer, std::size_t size, const char* format, va_list args) {
    if (size == 0) {
        return 0;
    }
    const int length = std::vsnprintf(buffer, size, format, args);
    if (length < 0) {
        buffer[0] = '\0';
        return 0;
    }
    return static_cast<int>(std::min(static_cast<std::size_t>(length), size - 1));
}

int px_snprintf(char* buffer, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = px_vsnprintf(buffer, size, format, args);
    va_end(args);
    return length;
}

int px_console_puts(const char* text) {
    return px_puts(text);
}

int px_console_vprintf(const char* format, va_list args) {
    return px_vprintf(format, args);
}

int px_console_printf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int length = px_vprintf(format, args);
    va_end(args);
    return length;
}
