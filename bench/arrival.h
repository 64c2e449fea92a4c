// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "median.h"

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
// all `count` (two or more) of them in turn: the median of `changes` times. Nobody has to be woken: the arrivals are
// watched for. A time at which the first had its text before it was looked at tells nothing and is left out; when
// nearly all do, sender and receiver do not run side by side, and the program ends.
template <class Send, class HasArrived, class ReceiveAll>
double arrival_us(size_t changes, size_t count, const Send& send, const HasArrived& has_arrived,
                  const ReceiveAll& receive_all) {
    constexpr size_t kTries = 20;
    std::vector<double> costs;
    for (size_t i = 0; costs.size() < changes; ++i) {
        if (i == changes * kTries) {
            std::fprintf(stderr, "bench: the processors do not run side by side\n");
            std::exit(1);
        }
        send();
        const bool was_late = has_arrived(0);
        const auto first = await_arrival(has_arrived, 0);
        const auto last = await_arrival(has_arrived, count - 1);
        if (!was_late) {
            const std::chrono::duration<double, std::micro> elapsed = last - first;
            costs.push_back(elapsed.count() / static_cast<double>(count - 1));
        }
        receive_all();
    }
    return median(costs);
}
