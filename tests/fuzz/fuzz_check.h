// SPDX-License-Identifier: MIT

#pragma once

// What has to hold whatever the input: where it does not, the target stops and the input is kept.
inline void fuzz_check(bool holds) {
    if (!holds) {
        __builtin_trap();
    }
}
