// SPDX-License-Identifier: MIT

#include "AllocationFailure.h"

#include <atomic>
#include <climits>
#include <new>

namespace {

constexpr int kNoLimit = INT_MAX;
std::atomic<int> grants = kNoLimit;

bool take_grant() {
    if (grants == kNoLimit) {
        return true;
    }
    return grants-- > 0;
}

}  // namespace

AllocationFailure::AllocationFailure(int granted) {
    grants = granted;
}

AllocationFailure::~AllocationFailure() {
    grants = kNoLimit;
}

// Replaces the C++ library's operator for the whole test program.
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    if (!take_grant()) {
        return nullptr;
    }
    try {
        return ::operator new[](size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
