// SPDX-License-Identifier: MIT

#include "src/base/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

#include "runtime/c_owner.h"

bool standard_descriptors_close() {
    for (int number = STDIN_FILENO; number <= STDERR_FILENO; ++number) {
        const UniqueFd closed_here(number);
    }
    return standard_descriptors_reserve();
}

bool standard_descriptors_reserve() {
    // open() takes the lowest free number, so the first one above 2 tells that none of the three is free. O_PATH
    // gives the name of a directory and no open file: no read, write or ioctl works on it. /dev/null would swallow
    // without a trace what is printed by mistake.
    for (;;) {
        UniqueFd placeholder(open("/", O_PATH | O_CLOEXEC));
        if (!placeholder.valid()) {
            return false;
        }
        if (placeholder.get() > STDERR_FILENO) {
            return true;
        }
        static_cast<void>(placeholder.release());  // stays as long as the process
    }
}
