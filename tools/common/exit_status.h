// SPDX-License-Identifier: MIT

#pragma once

// How the tools end; scripts rely on the numbers.
enum class ExitStatus {
    kDone = 0,
    kRefused = 1,      // the answer is an error, or nothing was seen
    kUsage = 2,        // the command line or the data on it; nothing was sent
    kUnreachable = 3,  // no connection, no answer, or nowhere to write it to
};
