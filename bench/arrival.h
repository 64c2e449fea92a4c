// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

// Waits, busily, until `has_arrived` is true of a receiver. Ends the program when it does not come true in time.
template <class HasArrived>
std::chrono::steady_clock::time_point await_arrival(const HasArrived& has_arrived, size_t receiver) {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    while (!has_arrived(receiver)) {
        if (Clock::now() - start > std::chrono::seconds(10)) {
            std::fprintf(stderr, "bench: a text did not arrive\n");
            std::exit(1);
        }
    }
    return Clock::now();
}

// What each receiver behind the first waits longer than the one before it, in microseconds, when one text is sent to
// all `count` (two or more) of them in turn. Nobody has to be woken: the arrivals are watched for. The texts stay
// unread.
template <class HasArrived>
double arrival_us(const HasArrived& has_arrived, size_t count) {
    const auto first = await_arrival(has_arrived, 0);
    const auto last = await_arrival(has_arrived, count - 1);
    return std::chrono::duration<double, std::micro>(last - first).count() / static_cast<double>(count - 1);
}
