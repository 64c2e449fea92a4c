#pragma once

// How apictl ends; scripts rely on the numbers.
enum class ExitStatus {
    kDone = 0,
    kRefused = 1,      // the unit answered with an error
    kUsage = 2,        // the command line or the data on it; nothing was sent
    kUnreachable = 3,  // no connection, no answer, or nowhere to write it to
};
