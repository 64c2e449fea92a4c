// SPDX-License-Identifier: MIT

#pragma once

#include <cstdarg>

// The system log, for the runtime, bus, configuration and event modules; levels are the syslog severities.

extern const char* const px_slog_prio_txt[8];  // "EMERG" .. "DEBUG", by level

void px_vslog(int level, const char* format, va_list args) __attribute__((format(printf, 2, 0)));
void px_slog(int level, const char* format, ...) __attribute__((format(printf, 2, 3)));

// At level 7 (debug); always 0.
int px_slogd(const char* format, ...) __attribute__((format(printf, 1, 2)));

// As openlog() and closelog(): the identity is not copied and must stay valid until the log is closed.
void px_slog_open(const char* identity, int option, int facility);
void px_slog_close();
