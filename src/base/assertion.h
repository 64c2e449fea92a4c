// SPDX-License-Identifier: MIT

#pragma once

// The C library's report of a failed assertion. <assert.h> declares it only where NDEBUG is not set.
extern "C" void __assert_fail(const char* assertion, const char* file, unsigned int line,
                              const char* function) noexcept __attribute__((noreturn));

// ORVALE_ASSERT: stops the process when a rule of the program itself is broken; never reached by bytes from
// outside. The report carries the expression, the source module and the function under the names that
// operators know from the logs ("src/HabConfig"), not those of the file on disk, and is written whatever NDEBUG
// says.
#define ORVALE_ASSERT(condition, expression, module, function) \
    ((condition) ? static_cast<void>(0) : __assert_fail(expression, module, __LINE__, function))
