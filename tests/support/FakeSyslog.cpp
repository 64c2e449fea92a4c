// SPDX-License-Identifier: MIT

#include "tests/support/FakeSyslog.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>

namespace {

std::mutex calls_lock;
std::vector<std::string> recorded_calls;
int syslog_mask = 0xff;

void record(const std::string& call) {
    const std::lock_guard guard(calls_lock);
    recorded_calls.push_back(call);
}

}  // namespace

namespace fake_syslog {

std::vector<std::string> calls() {
    const std::lock_guard guard(calls_lock);
    return recorded_calls;
}

void forget() {
    const std::lock_guard guard(calls_lock);
    recorded_calls.clear();
    syslog_mask = 0xff;
}

}  // namespace fake_syslog

// These replace the C library's functions for the whole test program.

void openlog(const char* identity, int option, int facility) {
    record("openlog " + std::string(identity == nullptr ? "(null)" : identity) + " " +
           std::to_string(option) + " " + std::to_string(facility));
}

void closelog() {
    record("closelog");
}

// As in the C library, 0 asks for the mask and changes nothing.
int setlogmask(int mask) noexcept {
    const std::lock_guard guard(calls_lock);
    const int previous = syslog_mask;
    if (mask != 0) {
        recorded_calls.push_back("setlogmask " + std::to_string(mask));
        syslog_mask = mask;
    }
    return previous;
}

void vsyslog(int priority, const char* format, va_list args) {
    char text[1024];
    std::vsnprintf(text, sizeof text, format, args);
    record("syslog " + std::to_string(priority) + " " + text);
    std::fprintf(stderr, "%s\n", text);
}

void syslog(int priority, const char* format, ...) {
    va_list args;
    va_start(args, format);
    vsyslog(priority, format, args);
    va_end(args);
}
