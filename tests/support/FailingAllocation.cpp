// SPDX-License-Identifier: MIT

#include "tests/support/FailingAllocation.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

constexpr int kNone = -1;
std::atomic<int> granted_before = kNone;

bool fails() {
    return granted_before != kNone && granted_before-- == 0;
}

}  // namespace

void failing_allocation::throw_after(int granted) {
    granted_before = granted;
}

// These replace the C++ library's operators for the whole test program.

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return fails() ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
