// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>
#include <cstddef>

// Console output straight to descriptor 1, past stdio, so that it also works in a signal handler.
// Errors: a failed write ends the output silently. A formatted line is cut to 79 characters.

// Writes the whole text, across partial writes and EINTR. Answers the number of bytes written.
int px_puts(const char* text);

// Answer the length of the text that was printed.
int px_vprintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
int px_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// Like vsnprintf() and snprintf(), but answer the number of characters stored, at most size - 1. The buffer
// is always terminated; after an encoding error it is empty. A size of 0 stores nothing.
int px_vsnprintf(char* buffer, std::size_t size, const char* format, va_list args)
    __attribute__((format(printf, 3, 0)));
int px_snprintf(char* buffer, std::size_t size, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same three under the names that select the console where several outputs exist.
int px_console_puts(const char* text);
int px_console_vprintf(const char* format, va_list args) __attribute__((format(printf, 1, 0)));
int px_console_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
