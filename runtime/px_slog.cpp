// SPDX-License-Identifier: MIT

#include "runtime/px_slog.h"

#include <syslog.h>

const char* const px_slog_prio_txt[8] = {"EMERG",   "ALERT",  "CRIT", "ERROR",
                                         "WARNING", "NOTICE", "INFO", "DEBUG"};

void px_vslog(int level, const char* format, va_list args) {
    vsyslog(level, format, args);
}

void px_slog(int level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    px_vslog(level, format, args);
    va_end(args);
}

int px_slogd(const char* format, ...) {
    va_list args;
    va_start(args, format);
    px_vslog(LOG_DEBUG, format, args);
    va_end(args);
    return 0;
}

void px_slog_open(const char* identity, int option, int facility) {
    openlog(identity, option, facility);
}

void px_slog_close() {
    closelog();
}
